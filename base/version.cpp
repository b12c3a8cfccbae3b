#include "base/version.h"

const char build_version[] = VIGIL_VERSION;
const char build_vendor_key[] = VIGIL_VENDOR_KEY;

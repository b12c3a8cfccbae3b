#pragma once
// Reports computed from the management daemon's session, flow and reset records.
#include "common/handler.h"

Handler tcpreset_list, tcpreset_listip, tcpreset_listdns;
Handler ipobj_listbussflow, ipobj_listflow, ipobj_listipa;
Handler outconnect_listflow, outconnect_caluflow;
Handler dnsflow_listflow, dnsflow_caluflow;

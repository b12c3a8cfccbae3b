#pragma once
// Captured packets leave the appliance, and the hosts learnt from traffic.
#include "common/handler.h"

Handler obspcap_init, obspcap_save, mempcap_dump, hostinfo_list;

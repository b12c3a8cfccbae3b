#pragma once
// Security logs and events.
#include "common/handler.h"

Handler obssyslog_list, obssshlog_list, obstlslog_list, obsnetbios_list; // protocol_log
Handler malclog_list;                                                    // malicious_log
Handler malcip_list;                                                     // malicious_address
Handler nevt_list;                                                       // event_list
Handler nevtlog_list;                                                    // event_log
Handler idssum_list, kesidslog_list, kesidslog_listflow;                 // ids

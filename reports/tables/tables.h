#pragma once
// IP tables, white lists and DNS groups.
#include "common/handler.h"

Handler table_get, obsiptable_get;
Handler table_addip, table_rmvip, table_clear, table_getcmp;
Handler table_matchtest; // no verb leads here
Handler whiteip_list, whiteip_get, whiteip_config;
Handler tunwltable_list, dnstunwltable_list;
Handler obsdnsgrp_dumpgrp;

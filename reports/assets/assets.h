#pragma once
// Asset objects and the groups of the topology.
#include "common/handler.h"

Handler assetsobj_list, cli_obstopogrp_list;

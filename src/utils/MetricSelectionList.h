/* Installed as metric_selection_list.h. */
#pragma once
#include "orxmonitoring2d/metric_selection_list.h"

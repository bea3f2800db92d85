/* Installed as metric_catalogue.h. */
#pragma once
#include "orxmonitoring2d/metric_catalogue.h"

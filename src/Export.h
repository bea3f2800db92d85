/* Installed as export.h. */
#pragma once
#include "orxmonitoring2d/export.h"

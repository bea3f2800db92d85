/* Installed as opaque_resource.h. */
#pragma once
#include "orxmonitoring2d/opaque_resource.h"

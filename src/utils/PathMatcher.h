/* Installed as path_matcher.h. */
#pragma once
#include "orxmonitoring2d/path_matcher.h"

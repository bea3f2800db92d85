/* Installed as path_tokenizer.h. */
#pragma once
#include "orxmonitoring2d/path_tokenizer.h"

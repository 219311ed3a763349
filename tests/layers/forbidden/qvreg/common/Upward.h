#pragma once

inline int array[] = {1, 2};

#include "qvreg/settings/Exported.h"

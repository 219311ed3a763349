#pragma once

#include "qvreg/logistic/OneFloor.h"

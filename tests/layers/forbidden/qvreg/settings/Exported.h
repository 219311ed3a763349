#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/Low.h"

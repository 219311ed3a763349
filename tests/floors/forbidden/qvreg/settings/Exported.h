#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/component/QvStatusCodes.h"

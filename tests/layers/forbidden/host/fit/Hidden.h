#pragma once

#include "qvreg/common/Upward.h"
#include "qvreg/settings/Exported.h"

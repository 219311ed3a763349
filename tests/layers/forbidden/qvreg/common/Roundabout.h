#pragma once

#include "qvreg/common/../settings/Exported.h"

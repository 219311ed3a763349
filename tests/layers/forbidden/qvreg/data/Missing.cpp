#include "qvreg/common/Nowhere.h"

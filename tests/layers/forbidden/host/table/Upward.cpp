#include "host/Error.h"
#include "host/fit/Hidden.h"

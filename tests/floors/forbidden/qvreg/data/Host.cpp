#include "host/Error.h"

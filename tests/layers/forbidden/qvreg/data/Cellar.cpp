#include "qvreg/cellar/NoRoom.h"

#pragma once

#include "Upward.h"

#pragma once

#include <boost/version.hpp>
#include <cstddef>

#pragma once

#include "qvreg/common/QvNumberText.h"

/// \file
/// The library's texts of numbers, under the host's names.

namespace qvhost {

using QvCommon::NumbersText;
using QvCommon::NumberText;
using QvCommon::ReadNumber;
using QvCommon::ReadNumbers;
using QvCommon::TakeWord;

}  // namespace qvhost

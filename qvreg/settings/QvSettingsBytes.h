#pragma once

#include <memory>

#include "qvreg/common/QvBytes.h"
#include "qvreg/settings/QvRegSettings.h"

/// \file
/// Settings of either model as bytes.

/// Appends the settings but for what they borrow: listener, query and runner. May throw
/// std::bad_alloc.
void WriteSettings(const QvRegSettings& settings, QvCommon::QvByteWriter& writer);
/// Settings as they were written, of the class that they were; null, and the `reader` fails, for
/// bytes that no settings have. May throw std::bad_alloc.
[[nodiscard]] std::unique_ptr<QvRegSettings> ReadSettings(QvCommon::QvByteReader& reader);

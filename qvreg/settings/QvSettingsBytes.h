#pragma once

#include <memory>

#include "qvreg/common/QvBytes.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvSettingsContents.h"

/// \file
/// Settings of either model as plain numbers, and these as bytes.

/// The settings but for what they borrow: listener, query and runner. May throw std::bad_alloc.
[[nodiscard]] QvSettingsContents ContentsOf(const QvRegSettings& settings);
/// Settings of such contents, of the class of their model; null for contents that no settings have.
/// May throw std::bad_alloc.
[[nodiscard]] std::unique_ptr<QvRegSettings> MakeSettings(const QvSettingsContents& contents);

/// Appends settings; reads what was written, whatever settings it may be of. May throw
/// std::bad_alloc.
void WriteSettings(const QvSettingsContents& contents, QvCommon::QvByteWriter& writer);
void ReadSettings(QvCommon::QvByteReader& reader, QvSettingsContents& contents);

/// The same of settings themselves.
void WriteSettings(const QvRegSettings& settings, QvCommon::QvByteWriter& writer);
/// Settings as they were written, of the class that they were; null, and the `reader` fails, for
/// bytes that no settings have. May throw std::bad_alloc.
[[nodiscard]] std::unique_ptr<QvRegSettings> ReadSettings(QvCommon::QvByteReader& reader);

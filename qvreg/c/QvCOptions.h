#pragma once

#include "qvreg/c/qvreg_c_settings.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"

/// The choices of settings as structures of the C interface. Write throws the refusal of the first
/// choice that settings do not take, and changes nothing then.
namespace QvCOptions {

void Read(const QvRegSettings& settings, qvreg_options& options);
void Write(const qvreg_options& options, QvRegSettings& settings);

void Read(const QvLogRegSettings& settings, qvreg_logistic_options& options);
void Write(const qvreg_logistic_options& options, QvLogRegSettings& settings);

}  // namespace QvCOptions

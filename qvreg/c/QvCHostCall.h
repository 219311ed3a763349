#pragma once

#include <exception>
#include <string>

#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCText.h"

/// Calls a callback of the host's; an exception out of it becomes a refusal that passes through the
/// library to QvCCall.
template <typename Callback>
auto QvCHostCall(const char* name, Callback&& callback) {
  try {
    return callback();
  } catch (const std::exception& exception) {
    throw QvCRefusal(QVREG_CALLBACK_THREW, std::string("The ") + name +
                                               " callback threw an exception, which it must not: " +
                                               QvCText::Utf8(exception.what()));
  } catch (...) {
    throw QvCRefusal(QVREG_CALLBACK_THREW, std::string("The ") + name +
                                               " callback threw an exception, which it must not.");
  }
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/LyingHost.h"
#include "qvreg/c/qvreg_c.h"
#include "tests/qvreg/c/CHost.h"

/// \file
/// Calls of the C interface in any order, with any handles.

namespace qvfuzz {

/// What a host holds, and the calls that it makes: each is made with handles that were handed out,
/// null ones and ones of another kind, and with buffers of just the length that it says. Checked of
/// every call: its code is known and that of the error, no defect of the library's is reported, a
/// message is there exactly with a code, and nothing is handed out with an error.
class CallSession {
 public:
  explicit CallSession(FuzzedDataProvider& data) : data_(data) {}
  CallSession(const CallSession&) = delete;
  CallSession& operator=(const CallSession&) = delete;
  ~CallSession() = default;

  /// Makes settings, a source and a component that could be fitted.
  void MakeModel();
  /// Makes some call.
  void MakeCall();

 private:
  /// Calls of one part of the interface.
  void CallSettings();
  void CallOptions();
  void CallEffect();
  void CallSource();
  void CallComponent();
  void CallResults();
  void CallLogistic();
  void CallParameters();
  void CallScoring();
  void CallColumns();
  void CallBytes();
  void CallWorker();
  void Destroy();

  static std::int32_t RunPass(void* user, const qvreg_bytes* request, qvreg_bytes** answer);
  static std::int32_t AskCancel(void* user);
  static void TakeProgress(void* user, const qvreg_progress* progress);
  /// What a callback does to the library in the midst of a call.
  void Intrude();

  [[nodiscard]] int Below(int bound) { return data_.ConsumeIntegralInRange(0, bound - 1); }
  [[nodiscard]] std::int32_t Variable() { return Below(8) - 1; }
  [[nodiscard]] std::size_t Capacity() { return data_.ConsumeIntegralInRange<std::size_t>(0, 40); }

  template <typename Call>
  std::int32_t Run(Call&& call) {
    qvreg_error error = QVREG_ERROR_INIT;
    const std::int32_t code = call(&error);
    Check(qvreg_code_text(code) != nullptr, "a code has a text");
    Check(code != QVREG_INTERNAL_ERROR, "the library has no defect");
    Check(code == (error.is_warning != 0 ? QVREG_OK : error.code), "the code is that of the error");
    Check(std::memchr(error.message, 0, sizeof error.message) != nullptr, "a message ends");
    Check((error.code == QVREG_OK) == (error.message[0] == 0), "a message belongs to a code");
    return code;
  }
  /// A call that hands out a handle, which is kept.
  template <typename Handle, typename Call>
  void Make(std::vector<Handle>& handles, Call&& call) {
    typename Handle::pointer made = nullptr;
    const std::int32_t code = Run([&](qvreg_error* error) { return call(&made, error); });
    Check((code == QVREG_OK) == (made != nullptr), "a handle or an error");
    if (made != nullptr) handles.emplace_back(made);
  }
  /// A call that copies a list: call(buffer, capacity, count, error).
  template <typename T, typename Call>
  void List(Call&& call) {
    const std::size_t capacity = Capacity();
    const auto buffer = std::make_unique<T[]>(capacity);
    std::size_t count = 0;
    Run([&](qvreg_error* error) {
      return call(capacity == 0 ? nullptr : buffer.get(), capacity, &count, error);
    });
  }
  template <typename Struct>
  [[nodiscard]] Struct Sized() {
    auto structure = qvtest::Sized<Struct>();
    if (Below(64) == 63) structure.struct_size = static_cast<std::size_t>(Below(16));
    return structure;
  }
  /// One of the handles, mostly; null, or one of another kind.
  template <typename Handle>
  [[nodiscard]] typename Handle::pointer Pick(const std::vector<Handle>& handles) {
    const int kind = Below(40);
    if (kind == 39 || handles.empty()) return nullptr;
    if (kind == 38) return reinterpret_cast<typename Handle::pointer>(Stranger());
    return handles[data_.ConsumeIntegralInRange<std::size_t>(0, handles.size() - 1)].get();
  }
  /// A handle of a kind that hardly any call takes.
  [[nodiscard]] void* Stranger() const {
    return effects_.empty() ? nullptr : static_cast<void*>(effects_.front().get());
  }

  FuzzedDataProvider& data_;
  bool isIntruding_ = false;
  // What sources and settings borrow goes last.
  std::vector<std::unique_ptr<LyingFeed>> feeds_;
  std::vector<std::unique_ptr<HostColumns>> columns_;
  std::vector<std::unique_ptr<double[]>> values_;
  std::vector<qvtest::CSettings> settings_;
  std::vector<qvtest::CEffect> effects_;
  std::vector<qvtest::CSource> sources_;
  std::vector<qvtest::CComponent> components_;
  std::vector<qvtest::CParameters> parameters_;
  std::vector<qvtest::CResults> results_;
  std::vector<qvtest::CBytes> bytes_;
  std::vector<qvtest::CWorker> workers_;
};

}  // namespace qvfuzz

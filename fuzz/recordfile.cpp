// Record files of any bytes and length: every whole record is read as it stands, and what is left
// over is an error of the last read, however the file is read.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/MemoryFile.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/BinaryRecordIterator.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/ModelSettings.h"

namespace {

using namespace qvfuzz;
using Bytes = std::vector<std::uint8_t>;

void CheckRecord(const Bytes& bytes, std::size_t record, const double* values, std::size_t size) {
  Check(std::memcmp(values, &bytes[record * size * sizeof(double)], size * sizeof(double)) == 0,
        "a record is the bytes of the file");
}

void CheckIterator(const Bytes& bytes, std::size_t size, const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             &std::fclose);
  QvCommon::BinaryRecordIterator iter(file.get(), static_cast<int>(size));
  const std::size_t whole = bytes.size() / (size * sizeof(double));
  const bool isWhole = bytes.size() % (size * sizeof(double)) == 0;
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t i = 0; i < whole; ++i) {
      Check(iter.HasMore(), "a record that is there is announced");
      const QvCommon::Record* record = iter.Next();
      Check(record != nullptr && record->Size() == static_cast<int>(size), "and delivered");
      CheckRecord(bytes, i, record->GetAll(), size);
    }
    Check(!iter.HasMore() && iter.Next() == nullptr, "there is no more");
    Check(iter.GetFailReason() == (isWhole ? QvCommon::kIterEndOfData : QvCommon::kIterReadError),
          "a cut record is no end");
    static_cast<void>(iter.NewPass());
  }
}

void CheckSource(const Bytes& bytes, std::size_t size, const std::string& path) {
  const auto source = qvtest::Made<qvtest::CSource>([&](qvreg_source** made, qvreg_error* error) {
    return qvreg_source_open_file(path.c_str(), size, made, error);
  });
  const std::size_t whole = bytes.size() / (size * sizeof(double));
  std::vector<double> record(size);
  std::int32_t hasRecord = 1;
  for (std::size_t i = 0; i < whole; ++i) {
    const std::int32_t code =
        qvreg_source_next(source.get(), record.data(), size, &hasRecord, nullptr);
    Check(code == QVREG_OK && hasRecord == 1, "a source delivers every whole record");
    CheckRecord(bytes, i, record.data(), size);
  }
  const std::int32_t code =
      qvreg_source_next(source.get(), record.data(), size, &hasRecord, nullptr);
  const bool isWhole = bytes.size() % (size * sizeof(double)) == 0;
  Check(code == (isWhole ? QVREG_OK : QVREG_UNREADABLE_RECORD), "a source ends as its file");
  Check(!isWhole || hasRecord == 0, "a source has no more than its file");
}

/// The code that fitting the first variable by the second comes to.
std::int32_t FitCode(std::size_t size, const std::string& path, int threads) {
  qvtest::LinearSettings model(0, {}, {1});
  model.Effect({}, {1});
  const qvtest::CSettings settings = qvtest::CSettingsOf(model.Get());
  const auto source = qvtest::Made<qvtest::CSource>([&](qvreg_source** made, qvreg_error* error) {
    return qvreg_source_open_file(path.c_str(), size, made, error);
  });
  if (threads > 0) {
    qvtest::Require([&](qvreg_error* error) {
      return qvreg_settings_set_threads(settings.get(), source.get(), threads, 0, error);
    });
  }
  const qvtest::CComponent component = qvtest::CComponentOf(settings);
  return qvreg_component_build(component.get(), threads > 0 ? nullptr : source.get(), nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  FuzzedDataProvider data(bytes, count);
  const auto size = data.ConsumeIntegralInRange<std::size_t>(1, 5);
  const auto threads = data.ConsumeIntegralInRange(1, 2);
  const Bytes contents = data.ConsumeRemainingBytes<std::uint8_t>();
  const MemoryFile file(contents);
  CheckIterator(contents, size, file.Path());
  CheckSource(contents, size, file.Path());
  if (size < 2) return 0;
  Check(FitCode(size, file.Path(), 0) == FitCode(size, file.Path(), threads),
        "a file ends a run in the same way on threads");
  return 0;
}

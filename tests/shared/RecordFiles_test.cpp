// Record files as systems differ on them: bytes that a text stream would change, names that are not
// ASCII, sizes that 32 bits do not hold.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/qvreg.h"
#include "tests/support/TempFolder.h"

namespace {

namespace fs = std::filesystem;
using QvCommon::BinaryRecordIterator;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

enum class Mode { kRead, kWrite, kUpdate };

File Open(const fs::path& path, Mode mode) {
#if defined(_WIN32)
  const wchar_t* const modes[] = {L"rb", L"wb", L"r+b"};
  return File(_wfopen(path.c_str(), modes[static_cast<int>(mode)]));
#else
  const char* const modes[] = {"rb", "wb", "r+b"};
  return File(std::fopen(path.c_str(), modes[static_cast<int>(mode)]));
#endif
}

bool Seek(std::FILE* file, long long position) {
#if defined(_WIN32)
  return _fseeki64(file, position, SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(position), SEEK_SET) == 0;
#endif
}

/// A folder of the test's own. Its name holds a space and letters that are not ASCII.
class RecordFiles : public testing::Test {
 protected:
  void SetUp() override { fs::create_directory(folder_); }

  [[nodiscard]] fs::path PathOf(const std::string& name) const { return folder_ / name; }

  static void Write(const fs::path& path, const std::vector<double>& values) {
    const File file = Open(path, Mode::kWrite);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fwrite(values.data(), sizeof(double), values.size(), file.get()), values.size());
  }

  static std::vector<double> ReadAll(BinaryRecordIterator& iter, int recordSize) {
    std::vector<double> values;
    while (const QvCommon::Record* record = iter.Next()) {
      for (int i = 0; i < recordSize; ++i) values.push_back((*record)[i]);
    }
    return values;
  }

 private:
  qvtest::TempFolder temporary_;
  fs::path folder_ = temporary_.Path() / fs::path(u8"qvreg Größe 数");
};

TEST_F(RecordFiles, EndOfFileAndLineEndBytesAreNumbersLikeOthers) {
  const std::vector<double> values = {
      std::bit_cast<double>(std::uint64_t{0x3f1a1a1a1a1a1a1a}),  // control-Z, eight times
      std::bit_cast<double>(std::uint64_t{0x3f0a0d0a0d0a0d0a}),  // line ends
      std::bit_cast<double>(std::uint64_t{0x0a0d1a0a0d1a0a0d}),
      std::bit_cast<double>(std::uint64_t{0x400d0a1a0d0a1a00})};
  Write(PathOf("bytes.bin"), values);
  ASSERT_EQ(fs::file_size(PathOf("bytes.bin")), 32U);

  const File file = Open(PathOf("bytes.bin"), Mode::kRead);
  ASSERT_NE(file, nullptr);
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_EQ(ReadAll(iter, 2), values);
  EXPECT_EQ(iter.GetFailReason(), QvCommon::kIterEndOfData);
  EXPECT_EQ(iter.NewPass(), QvCommon::kIterOk);
  EXPECT_EQ(ReadAll(iter, 2), values);
}

TEST_F(RecordFiles, AFileBeyond4GiBIsReadToItsEndAndFromItsStartAgain) {
  constexpr int kSize = 1 << 16;  // doubles in a record of half a MiB
  constexpr long long kRecordBytes = static_cast<long long>(kSize) * 8;
  constexpr long long kRecords = (1LL << 32) / kRecordBytes + 3;
  const fs::path path = PathOf("large.bin");
  Write(path, {1.5});
  fs::resize_file(path, static_cast<std::uintmax_t>(kRecords * kRecordBytes));  // sparse
  {
    const File file = Open(path, Mode::kUpdate);
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(Seek(file.get(), (kRecords - 1) * kRecordBytes));
    const double last = 2.5;
    ASSERT_EQ(std::fwrite(&last, sizeof last, 1, file.get()), 1U);
  }

  const File file = Open(path, Mode::kRead);
  ASSERT_NE(file, nullptr);
  BinaryRecordIterator iter(file.get(), kSize);
  long long records = 0;
  double first = 0.0;
  double last = 0.0;
  while (const QvCommon::Record* record = iter.Next()) {
    if (records++ == 0) first = (*record)[0];
    last = (*record)[0];
  }
  EXPECT_EQ(records, kRecords);
  EXPECT_EQ(iter.GetFailReason(), QvCommon::kIterEndOfData);
  EXPECT_EQ(first, 1.5);
  EXPECT_EQ(last, 2.5);
  ASSERT_EQ(iter.NewPass(), QvCommon::kIterOk);
  EXPECT_EQ((*iter.Next())[0], 1.5);
}

}  // namespace

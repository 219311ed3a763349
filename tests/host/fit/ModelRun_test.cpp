#include "host/fit/ModelRun.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "qvreg/common/Constants.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace qvhost {
namespace {

#if !defined(_WIN32)
constexpr int kRecords = 40000;  // more than the stream keeps in memory between the passes
constexpr int kY = 0;
constexpr int kX = 1;

CodedTable MakeTable() {
  SpoolFile file("");
  for (int i = 0; i < kRecords; ++i) file.Append(std::vector<double>{i % 3 * 1.0, i % 7 * 1.0});
  file.Flush();
  file.Rewind();
  return {std::move(file), std::vector<CodedColumn>(2), kRecords};
}

/// Makes a number of the file a missing one before the last record of the first pass is read.
class Meddler : public Interrupt {
 public:
  explicit Meddler(const CodedTable& table) : descriptor_(fileno(table.File())) {}

  bool QueryWillCancel() override {
    if (++asked_ == kRecords) {
      const double missing = QvMV::gMissingValue;
      EXPECT_EQ(pwrite(descriptor_, &missing, sizeof missing, kX * sizeof(double)),
                static_cast<ssize_t>(sizeof missing));
    }
    return false;
  }

 private:
  int descriptor_;
  int asked_ = 0;
};

TEST(ModelRun, ATemporaryFileThatChangesBetweenThePassesEndsTheRun) {
  const CodedTable table = MakeTable();
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(kY));
  ASSERT_EQ(settings.AddCovariate(kX), 1);
  const std::vector<int> variables{kX};
  QvModelEffect effect(0, 1, &variables);
  ASSERT_EQ(effect.AddCovariate(kX), 1);
  ASSERT_TRUE(settings.AddModelEffect(effect));
  ProgressBar progress;
  Meddler meddler(table);
  ModelRun run(settings, table, progress, meddler);
  try {
    run.Build();
    FAIL() << "the model was built";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    EXPECT_STREQ(
        error.what(),
        "The first pass over the temporary file used 40000 records, and a later one 39999. Check "
        "the disk, or name another folder with --spool-dir.");
  }
}
#endif

}  // namespace
}  // namespace qvhost

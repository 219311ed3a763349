#include "host/table/TableWriter.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class TableFormatTest : public TableTest {};

TEST_F(TableFormatTest, FollowsTheEnding) {
  EXPECT_EQ(TableFormatOf("out.csv"), TableFormat::kCsv);
  EXPECT_EQ(TableFormatOf("a.parquet/b.CSV"), TableFormat::kCsv);
  EXPECT_EQ(TableFormatOf("out.Tsv"), TableFormat::kTsv);
  EXPECT_EQ(TableFormatOf("/x/out.v2.PARQUET"), TableFormat::kParquet);
}

TEST_F(TableFormatTest, RefusesOtherEndings) {
  const std::string plain = WriteText("plain", "a file without an ending");
  for (const std::string& path :
       {std::string("out.txt"), std::string("csv"), std::string("out.csv.gz"), std::string(".csv"),
        std::string("out."), std::string(""), plain, folder_.string()}) {
    const Refusal refusal = RefusalOf([&] { (void)TableFormatOf(path); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << path;
    EXPECT_EQ(refusal.text, "A table cannot be written to '" + path +
                                "': the format follows from the ending of the name, which must be "
                                ".csv, .tsv or .parquet.");
  }
}

#ifdef __linux__

TEST_F(TableFormatTest, GivesADeviceCsv) {
  EXPECT_EQ(TableFormatOf("/dev/null"), TableFormat::kCsv);
}

#endif

}  // namespace
}  // namespace qvhost

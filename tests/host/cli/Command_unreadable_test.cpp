// What the command says of data that are written otherwise than it is told, and the names of files
// that need care.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

class CommandUnreadable : public ::testing::Test {
 protected:
  [[nodiscard]] CommandResult Fit(const std::string& file, const std::string& formula,
                                  const Strings& more = {}) const {
    Strings arguments = {"fit", "--data", file, "--formula", formula};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(arguments).In(folder_.Path()).Run();
  }

  /// Whether the fit fails with this in its message.
  void ExpectSaid(const CommandResult& result, const std::string& text) const {
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.err.find(text), std::string::npos) << result.err;
  }

  static constexpr const char* kRows = "y,x\n1,2\n3,5\n4,4\n";

  const qvtest::TempFolder folder_;
};

TEST_F(CommandUnreadable, RunsOfBlanks) {
  folder_.Write("t.txt", "y  x z\n68  6 7\n70 12 8\n75 30 3\n");
  folder_.Write("u.txt", " y  x\n68  6\n70 12\n75 30\n");
  ExpectFailure(Fit("t.txt", "y ~ x", {"--delim", " "}), 2,
                "Runs of blanks separate the values of 't.txt', and --delim ' ' takes each blank "
                "for one delimiter. Make them single: tr -s ' ' < t.txt | qvreg fit --data - "
                "--delim ' ' with the same options.");
  ExpectSaid(Fit("u.txt", "y ~ x", {"--delim", " "}), "sed -E 's/^ +//; s/ +/ /g' < u.txt");
  folder_.Write("v.txt", "y x g\n68 6 \"a  b\"\n70 12 \"a  b\"\n75 30 c\n");
  EXPECT_EQ(Fit("v.txt", "y ~ x", {"--delim", " "}).exitCode, 0);
}

TEST_F(CommandUnreadable, DecimalCommasBesideSemicolons) {
  folder_.Write("t.csv", "y;x\n1,5;2,25\n2,5;3,25\n3,5;7,25\n4,5;7,5\n");
  ExpectSaid(Fit("t.csv", "y ~ x"), "If a semicolon separates the columns, add --delim ';'.");
  const CommandResult fit = Fit("t.csv", "y ~ x", {"--decimal", ","});
  EXPECT_EQ(fit.exitCode, 0) << fit.err;
}

TEST_F(CommandUnreadable, DecimalCommasInQuotes) {
  folder_.Write("t.csv", "\"y\",\"x\"\n\"1,5\",\"2,25\"\n\"2,5\",\"3,25\"\n\"3,5\",\"7,25\"\n");
  const CommandResult fit = Fit("t.csv", "y ~ x", {"--decimal", ","});
  EXPECT_EQ(fit.exitCode, 0) << fit.err;
}

TEST_F(CommandUnreadable, BlanksOfWriteTable) {
  folder_.Write("t.txt", "\"mpg\" \"cyl\"\n21 6\n22.8 4\n18.7 8\n");
  folder_.Write("names.txt",
                "\"mpg\" \"cyl\"\n\"Mazda RX4\" 21 6\n\"Datsun\" 22.8 4\n\"Other\" 1 8\n");
  ExpectSaid(Fit("t.txt", "mpg ~ cyl"), "If a blank separates the columns, add --delim ' '.");
  EXPECT_EQ(Fit("t.txt", "mpg ~ cyl", {"--delim", " "}).exitCode, 0);
  ExpectSaid(Fit("names.txt", "mpg ~ cyl", {"--delim", " "}), "row.names = FALSE");
}

TEST_F(CommandUnreadable, NoHeaderAsAskedFor) {
  folder_.Write("t.csv", kRows);
  const CommandResult fit = Fit("t.csv", "y ~ x", {"--header", "no"});
  ExpectSaid(fit, "It is read without a header, so its columns are called column0 and so on.");
  EXPECT_EQ(fit.err.find("seems"), std::string::npos);
}

TEST_F(CommandUnreadable, ALateRowWithMoreValues) {
  std::string rows = "y,x\n";
  for (int i = 0; i < 30000; ++i)
    rows += std::to_string(i % 7) + "," + std::to_string(i % 5) + "\n";
  folder_.Write("t.csv", rows + "1,1,234\n");
  ExpectFailure(Fit("t.csv", "y ~ x"), 2,
                "t.csv: line 30002 of 't.csv' has 3 values where 2 are expected; mend it, and put "
                "a value that holds the delimiter, such as 1,234, into double quotes.");
}

TEST_F(CommandUnreadable, AHeaderAlone) {
  folder_.Write("t.csv", "\"\",\"mpg\",\"cyl\"\n");
  ExpectSaid(Fit("t.csv", "mpg ~ cyl"), "'t.csv' has a header and no rows.");
}

TEST_F(CommandUnreadable, OtherCompressions) {
  folder_.Write("t.csv.bz2", "BZh91AY&SY");
  folder_.Write("t.csv.xz", std::string("\xFD"
                                        "7zXZ\0\0",
                                        7));
  folder_.Write("t.npy", "\x93NUMPY");
  ExpectFailure(Fit("t.csv.bz2", "y ~ x"), 2,
                "'t.csv.bz2' is compressed by bzip2; unpack it: bzcat t.csv.bz2 | qvreg fit "
                "--data - with the same options.");
  ExpectSaid(Fit("t.csv.xz", "y ~ x"), "unpack it: xzcat t.csv.xz | qvreg fit --data -");
  ExpectSaid(Fit("t.npy", "y ~ x"), "'t.npy' is a file of NumPy; write CSV there");
}

TEST_F(CommandUnreadable, ACompressedFileInCapitals) {
  RunSql("COPY (SELECT range AS x, range * range AS y FROM range(9)) TO '" +
         folder_.File("t.csv.gz") + "' (FORMAT csv, COMPRESSION gzip)");
  std::filesystem::rename(folder_.File("t.csv.gz"), folder_.File("T.CSV.GZ"));
  EXPECT_EQ(Fit("T.CSV.GZ", "y ~ x").exitCode, 0);
  EXPECT_EQ(Fit("T*.CSV.GZ", "y ~ x").exitCode, 0);
}

TEST_F(CommandUnreadable, NamesOfFilesThatNeedCare) {
  for (const std::string name : {"a\"b.csv", "a\\b.csv", "a\nb.csv", "~tilde.csv"}) {
    folder_.Write(name, kRows);
    const CommandResult fit = Fit(name, "y ~ x");
    EXPECT_EQ(fit.exitCode, 0) << name << fit.err;
    EXPECT_EQ(Fit(name, "y ~ x", {"--predictions", name}).exitCode, 2) << name;
  }
  EXPECT_EQ(Fit("~t*.csv", "y ~ x").exitCode, 0);
}

TEST_F(CommandUnreadable, AChosenLevelThatReadsAsMissing) {
  folder_.Write("t.csv", "y,g\n1,None\n2,a\n3,None\n4,b\n5,a\n6,b\n");
  const std::string advice = " 2 values 'None' were read as missing; --na NA keeps them.";
  ExpectSaid(Fit("t.csv", "y ~ g", {"--base", "g=None"}), advice);
  ExpectSaid(Fit("t.csv", "y ~ g", {"--levels", "g=None"}), advice);
  ExpectSaid(Fit("t.csv", "g ~ y", {"--reference", "None"}), advice);
  EXPECT_EQ(Fit("t.csv", "y ~ g", {"--base", "g=None", "--na", "NA"}).exitCode, 0);
  const CommandResult other = Fit("t.csv", "y ~ g", {"--base", "g=c"});
  EXPECT_EQ(other.err.find("read as missing"), std::string::npos) << other.err;
}

TEST_F(CommandUnreadable, NamesThatDifferInCaseOnly) {
  folder_.Write("t.csv", "y,ab,AB,Ab\n1,1,5,2\n2,1,6,4\n3,2,1,6\n4,7,5,8\n");
  const auto fit = FitJson({"--data", folder_.File("t.csv"), "--formula", "y ~ Ab"});
  EXPECT_NEAR(ParameterOf(fit, "Ab").at("estimate").get<double>(), 0.5, 1e-12);
  EXPECT_EQ(fit.at("warnings").back(),
            "Column 4, 'Ab', differs from 'ab' in case only; SQL calls it Ab_2.");
  const auto weighted =
      FitJson({"--data", folder_.File("t.csv"), "--formula", "y ~ ab", "--freq-weight", "Ab"});
  EXPECT_EQ(weighted.at("records").at("used"), 4);
}

}  // namespace
}  // namespace qvhost

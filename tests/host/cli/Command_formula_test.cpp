// Formulas through the command: what it refuses, which records it uses, the document's examples.
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

constexpr int kBadInput = 2;

class CommandFormula : public ::testing::Test {
 protected:
  CommandResult Fit(const std::string& formula, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"fit", "--data", "t.csv", "--formula", formula};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(arguments).In(folder_.Path()).Run();
  }

  static std::string RecordsOf(const CommandResult& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::size_t from = result.out.find("\nRecords    ");
    return from == std::string::npos
               ? result.out
               : result.out.substr(from + 12, result.out.find('\n', from + 1) - from - 12);
  }

  void SetUp() override {
    folder_.Write("t.csv",
                  "y,age,sex,body_mass\n1,20,m,5\n3,17,f,6\n4,,m,7\n6,30,f,5\n5,8,m,9\n2,,f,4\n"
                  "7,44,m,3\n");
    folder_.Write("secret.txt", "four");
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandFormula, AFormulaReadsNoFile) {
  ExpectFailure(Fit("y ~ I(age + length((select content from read_text('secret.txt'))))"),
                kBadInput,
                "A formula holds no query: it computes each value from one record; use --sql.\n"
                "  y ~ I(age + length((select content from read_text('secret.txt'))))\n"
                "                      ^");
  ExpectFailure(Fit("y ~ I(age + length(read_text('secret.txt')))"), kBadInput,
                "A formula has no function 'read_text'; 'qvreg fit --help' lists those it has.\n"
                "  y ~ I(age + length(read_text('secret.txt')))\n"
                "                     ^");
}

TEST_F(CommandFormula, AFormulaKeepsTheNumberOfRecords) {
  ExpectFailure(Fit("y ~ unnest([y,y,y])"), kBadInput,
                "unnest() makes several values of one, but a formula computes one value for each "
                "record; compute it in --sql.\n"
                "  y ~ unnest([y,y,y])\n"
                "      ^");
}

TEST_F(CommandFormula, AMissingColumnMakesTheRecordMissing) {
  for (const char* const term :
       {"age", "if(age > 18, 1, 0)", "greatest(age, 18)", "least(18, age)", "concat(sex, age)",
        "I(age > 18 or true)", "I(case when age > 18 then 'adult' else 'child' end)",
        "I(age in (20, 30))", "I(not age = 20)"}) {
    EXPECT_EQ(RecordsOf(Fit("y ~ " + std::string(term))), "7 read, 5 used") << term;
  }
  EXPECT_EQ(RecordsOf(Fit("if(age > 18, y, 0) ~ body_mass")), "7 read, 5 used");
  EXPECT_EQ(RecordsOf(Fit("y ~ body_mass")), "7 read, 7 used");
}

TEST_F(CommandFormula, TheResponseInAnotherSpellingIsNoTerm) {
  ExpectFailure(Fit("body_mass ~ age + BODY_MASS"), kBadInput,
                "'body_mass' is the response and cannot be a term too; take it out on this side.\n"
                "  body_mass ~ age + BODY_MASS\n"
                "                    ^");
}

TEST_F(CommandFormula, AnExpressionWithoutAValueEndsTheRun) {
  ExpectFailure(Fit("y ~ ln(age - 8)"), kBadInput,
                "t.csv: 'ln(age - 8)' cannot be computed where age is 8; leave such rows out with "
                "--where, such as --where \"age <> 8\", or change the expression.");
  EXPECT_EQ(Fit("y ~ ln(age - 8)", {"--where", "age <> 8"}).exitCode, 0);
}

// A hostile text stays a text, and a hostile name a name.
TEST_F(CommandFormula, NothingOfTheFormulaIsRead) {
  EXPECT_EQ(RecordsOf(Fit("y ~ I(sex = '''); DROP TABLE data; --')")), "7 read, 7 used");
  ExpectFailure(
      Fit("y ~ `age\"); DROP TABLE data; --`"), kBadInput,
      "There is no column 'age\"); DROP TABLE data; --' in t.csv. Its columns are y, age, "
      "sex, body_mass.\n"
      "  y ~ `age\"); DROP TABLE data; --`\n"
      "      ^");
}

}  // namespace
}  // namespace qvhost

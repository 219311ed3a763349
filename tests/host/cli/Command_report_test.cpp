// `--report`: a page is written as every other file, whole or not at all.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

constexpr int kBadInput = 2;

class CommandReport : public ::testing::Test {
 protected:
  [[nodiscard]] CommandResult Run(Strings words) const {
    return CommandRun(std::move(words)).In(folder_.Path()).Run();
  }
  [[nodiscard]] CommandResult Fit(const std::string& formula, const Strings& more) const {
    Strings words = {"fit", "-d",
                     (std::filesystem::path(QVREG_EXAMPLE_DATA) / "penguins.csv").string(), "-f",
                     formula};
    words.insert(words.end(), more.begin(), more.end());
    return Run(std::move(words));
  }
  [[nodiscard]] std::string Page(const std::string& name) const {
    return qvtest::ReadFile(folder_.File(name));
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandReport, IsWrittenBesideTheSummary) {
  const CommandResult plain = Fit("body_mass ~ sex", {});
  const CommandResult result = Fit("body_mass ~ sex", {"--report", "fit.html"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, plain.out);
  EXPECT_NE(Page("fit.html").find("<h1>Linear model of body_mass</h1>"), std::string::npos);
  EXPECT_NE(Page("fit.html").find("Residuals against fitted values"), std::string::npos);
}

TEST_F(CommandReport, OfASavedModelIsThatOfTheFit) {
  ASSERT_EQ(Fit("sex ~ body_mass", {"-q", "--report", "fit.html", "--json", "fit.json"}).exitCode,
            0);
  const CommandResult shown = Run({"show", "fit.json", "--report", "shown.html"});
  EXPECT_EQ(shown.exitCode, 0) << shown.err;
  EXPECT_EQ(Page("shown.html"), Page("fit.html"));
}

TEST_F(CommandReport, OfAModelSavedWithoutOneHasTheTables) {
  ASSERT_EQ(Fit("body_mass ~ sex", {"-q", "--save", "fit.pmml"}).exitCode, 0);
  const CommandResult shown = Run({"show", "fit.pmml", "--report", "fit.html"});
  EXPECT_EQ(shown.exitCode, 0) << shown.err;
  EXPECT_NE(Page("fit.html").find("fit once more with"), std::string::npos);
  EXPECT_EQ(Page("fit.html").find("Residuals against fitted values"), std::string::npos);
}

TEST_F(CommandReport, TakesDigits) {
  ASSERT_EQ(Fit("body_mass ~ sex", {"-q", "--report", "fit.html", "--digits", "9"}).exitCode, 0);
  EXPECT_NE(Page("fit.html").find("<td>4545.684524</td>"), std::string::npos);
}

TEST_F(CommandReport, IsNamedForABrowser) {
  for (const char* name : {"fit.txt", "-", "fit"}) {
    const CommandResult result = Fit("body_mass ~ sex", {"--report", name});
    EXPECT_EQ(result.exitCode, kBadInput);
    EXPECT_NE(result.err.find("must end in .html"), std::string::npos) << result.err;
  }
}

TEST_F(CommandReport, ReplacesNoInputAndNoOtherOutput) {
  ASSERT_EQ(Fit("body_mass ~ sex", {"-q", "--json", "fit.html"}).exitCode, 0);
  const std::string json = Page("fit.html");
  const CommandResult shown = Run({"show", "fit.html", "--report", "./fit.html"});
  EXPECT_EQ(shown.exitCode, kBadInput);
  EXPECT_NE(shown.err.find("would replace the input"), std::string::npos) << shown.err;
  EXPECT_EQ(Page("fit.html"), json);
  const CommandResult both = Fit("body_mass ~ sex", {"--json", "fit.html", "--report", "fit.html"});
  EXPECT_EQ(both.exitCode, kBadInput);
  EXPECT_NE(both.err.find("are the same file; name two"), std::string::npos) << both.err;
}

TEST_F(CommandReport, IsNotWrittenWhenTheFitFails) {
  EXPECT_NE(Fit("body_mass ~ nothing", {"--report", "fit.html"}).exitCode, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.File("fit.html")));
}

}  // namespace
}  // namespace qvhost

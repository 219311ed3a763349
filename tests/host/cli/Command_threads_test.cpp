// The results of a run do not depend on the number of its threads.

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

using Words = std::vector<std::string>;

/// Enough records to be divided among threads, of numbers whose sums are rounded.
constexpr const char* kRows =
    "SELECT i % 13 * 0.1 + sin(i) AS y, sin(i * i) AS x, exp(cos(i)) AS z, "
    "['a', 'b', 'c'][1 + i * i % 3] AS g, ['no', 'maybe', 'yes'][1 + (i + i // 7) % 3] AS answer, "
    "1 + i % 4 AS n, i FROM range(30011) t(i)";

struct Fit {
  std::string name;
  Words words;
};

void PrintTo(const Fit& fit, std::ostream* out) { *out << fit.name; }

class CommandThreads : public ::testing::TestWithParam<Fit> {};

TEST_P(CommandThreads, ChangeNoByteOfTheFit) {
  const auto fitOn = [](const std::string& threads) {
    Words words = {"fit",    "--sql", kRows,       "--freq-weight", "n",
                   "--json", "-",     "--threads", threads};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    const CommandResult result = RunQvreg(words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  };
  const std::string one = fitOn("1");
  EXPECT_NE(one.find("\"used\": 30011"), std::string::npos) << one;
  EXPECT_EQ(fitOn("3"), one);
}

TEST_P(CommandThreads, ChangeNoByteOfThePredictions) {
  const qvtest::TempFolder folder;
  const auto predictionsOn = [&](const std::string& threads) {
    const std::string file = folder.File(threads + ".csv");
    Words words = {"fit",   "--sql",  kRows, "--predictions", file, "--threads",
                   threads, "--keep", "i,g"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    const CommandResult result = RunQvreg(words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return qvtest::ReadFile(file);
  };
  const std::string one = predictionsOn("1");
  EXPECT_EQ(std::ranges::count(one, '\n'), 30012);
  EXPECT_EQ(predictionsOn("2"), one);
  EXPECT_EQ(predictionsOn("7"), one);
}

// Nearly dependent, so that the last bits of the sums show.
constexpr const char* kPowers =
    "y ~ g + I((10 + z)^2) + I((10 + z)^3) + I((10 + z)^4) + I((10 + z)^5) + I((10 + z)^6)";

INSTANTIATE_TEST_SUITE_P(
    Fits, CommandThreads,
    ::testing::Values(Fit{"Linear", {"--formula", kPowers}},
                      Fit{"LogisticInMemory", {"--formula", "answer ~ x * g + z", "--in-memory"}},
                      Fit{"LogisticFromDisk",
                          {"--formula", "answer ~ x * g + z", "--no-in-memory"}}),
    [](const auto& fit) { return fit.param.name; });

}  // namespace
}  // namespace qvhost

#include "host/fit/ProgressBar.h"

#include <array>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/TextLayout.h"

namespace qvhost {
namespace {

constexpr const char* kErase = "\r\x1b[2K";

class ProgressBarTest : public ::testing::Test {
 protected:
  std::string Shown() const {
    std::rewind(stream_.get());
    std::array<char, 1024> buffer{};
    const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), stream_.get());
    return {buffer.data(), size};
  }

  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Closer> stream_{std::tmpfile()};
};

TEST_F(ProgressBarTest, ShowsTheStageAndItsShare) {
  ProgressBar bar(stream_.get());
  bar.Show("pass 1 of 3", 0.5, 1500);
  EXPECT_EQ(Shown(), std::string(kErase) + "pass 1 of 3  [" + std::string(15, '=') +
                         std::string(15, ' ') + "]  50%  1500 records");
}

TEST_F(ProgressBarTest, ShowsRowsWhileTheShareIsNotKnown) {
  ProgressBar bar(stream_.get());
  bar.Show("reading", -1.0, 4096);
  EXPECT_EQ(Shown(), std::string(kErase) + "reading      4096 records");
}

TEST_F(ProgressBarTest, AFullShareFillsTheBar) {
  ProgressBar bar(stream_.get());
  bar.Show("coding", 1.5, 10);
  EXPECT_EQ(Shown(),
            std::string(kErase) + "coding       [" + std::string(30, '=') + "] 100%  10 records");
}

TEST_F(ProgressBarTest, ALongStageShortensTheBar) {
  const std::string stage = "iteration 2, log-likelihood -1.09861e+06";
  ProgressBar bar(stream_.get());
  bar.Show(stage, 0.5, 500000);
  const std::string line = Shown().substr(std::string(kErase).size());
  EXPECT_EQ(line.size(), 79U) << "one less than most terminals have columns";
  EXPECT_TRUE(line.starts_with(stage + " [=======")) << line;
  EXPECT_TRUE(line.ends_with("]  50%  500000 records")) << line;
}

TEST_F(ProgressBarTest, AVeryLongStageLeavesOutTheRecords) {
  const std::string stage = "iteration 12, log-likelihood -1.09861e+06, 12 step-halvings";
  ProgressBar bar(stream_.get());
  bar.Show(stage, 0.5, 500000);
  EXPECT_EQ(Shown(), kErase + stage + " [=====     ]  50%");
}

TEST_F(ProgressBarTest, NoLineIsLongerThanATerminal) {
  for (const std::size_t width : {20U, 30U, 45U, 60U, 80U, 200U}) {
    for (const char* stage : {"pass 1 of 3", "iteration 2, log-likelihood -1.09861e+06"}) {
      for (const double share : {-1.0, 0.5}) {
        std::rewind(stream_.get());
        ASSERT_EQ(ftruncate(fileno(stream_.get()), 0), 0);
        ProgressBar bar(stream_.get(), width);
        bar.Show(stage, share, 123456);
        const std::string line = Shown().substr(std::string(kErase).size());
        EXPECT_LT(TextWidth(line), width) << line;
        EXPECT_GE(TextWidth(line), std::size_t{15}) << line;
      }
    }
  }
}

TEST_F(ProgressBarTest, ANarrowLineKeepsTheShare) {
  ProgressBar bar(stream_.get(), 20);
  bar.Show("iteration 2, log-likelihood -1.09861e+06", 0.5, 1);
  EXPECT_EQ(Shown(), std::string(kErase) + "iterati…61e+06  50%");
}

TEST_F(ProgressBarTest, ShowsBytes) {
  struct Case {
    std::uint64_t bytes;
    const char* text;
  };
  for (const Case& c : {Case{0, "0 bytes"}, Case{999, "999 bytes"}, Case{12345, "12.3 kB"},
                        Case{5'000'000'000, "5.0 GB"}, Case{7'000'000'000'000'000, "7000.0 TB"}}) {
    std::rewind(stream_.get());
    ASSERT_EQ(ftruncate(fileno(stream_.get()), 0), 0);
    ProgressBar bar(stream_.get());
    bar.ShowBytes("receiving", c.bytes);
    EXPECT_EQ(Shown(), std::string(kErase) + "receiving    " + c.text);
  }
}

TEST_F(ProgressBarTest, ChangesFewTimesASecondButForEveryStage) {
  ProgressBar bar(stream_.get());
  bar.Show("pass 1 of 3", 0.0, 0);
  const std::string first = Shown();
  bar.Show("pass 1 of 3", 0.1, 1);
  EXPECT_EQ(Shown(), first);
  bar.Show("pass 2 of 3", 0.0, 0);
  EXPECT_NE(Shown().find("pass 2 of 3"), std::string::npos);
}

TEST_F(ProgressBarTest, ErasesItselfAtTheEnd) {
  {
    ProgressBar bar(stream_.get());
    bar.Show("reading", 0.2, 1);
  }
  EXPECT_TRUE(Shown().ends_with(kErase));
}

TEST_F(ProgressBarTest, ErasesNothingThatItDidNotShow) {
  { const ProgressBar bar(stream_.get()); }
  EXPECT_EQ(Shown(), "");
}

TEST(ProgressBar, WithoutAStreamShowsNothing) {
  ProgressBar bar(nullptr);
  bar.Show("reading", 0.5, 1);
  bar.Erase();
}

}  // namespace
}  // namespace qvhost

// Writes a line for every test, with its name, whether it passes, the milliseconds it took and the
// mutants that it reached.

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/mutants/Switch.h"

namespace {

class Listener : public testing::EmptyTestEventListener {
 public:
  explicit Listener(const char* file) : fpOut(std::fopen(file, "w")) {}
  ~Listener() override { std::fclose(fpOut); }
  void OnTestStart(const testing::TestInfo& /*test*/) override { fStart = Clock::now(); }
  void OnTestEnd(const testing::TestInfo& test) override {
    const std::chrono::duration<double, std::milli> time = Clock::now() - fStart;
    std::fprintf(fpOut, "%s.%s %s %.3f", test.test_suite_name(), test.name(),
                 test.result()->Failed() ? "fails" : "passes", time.count());
    for (int mutant = 0; mutant < mutants::kMost; ++mutant) {
      if (mutants::run.reached[mutant]) std::fprintf(fpOut, " %d", mutant);
      mutants::run.reached[mutant] = false;
    }
    std::fputc('\n', fpOut);
  }

 private:
  using Clock = std::chrono::steady_clock;
  std::FILE* fpOut;
  Clock::time_point fStart;
};

[[maybe_unused]] const bool gIsListening = [] {
  const char* file = std::getenv("MUTANTS_REACHED_BY");
  if (file) testing::UnitTest::GetInstance()->listeners().Append(new Listener(file));
  return file != nullptr;
}();

}  // namespace

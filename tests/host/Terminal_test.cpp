#include "host/Terminal.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qvhost {
namespace {

/// A variable of the environment for as long as this lives.
class Setting {
 public:
  Setting(std::string name, const char* value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    Set(value);
  }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;
  ~Setting() { Set(before_ ? before_->c_str() : nullptr); }

 private:
  void Set(const char* value) const {
    if (value == nullptr) {
      unsetenv(name_.c_str());
    } else {
      setenv(name_.c_str(), value, 1);
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, Closer>;

/// A terminal of so many columns.
class TerminalTest : public ::testing::Test {
 protected:
  TerminalTest() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
    terminal_.reset(std::fopen(ptsname(master_), "r+"));
  }
  ~TerminalTest() override {
    terminal_.reset();
    close(master_);
  }

  void SetWidth(unsigned short columns) const {
    winsize size{};
    size.ws_col = columns;
    ASSERT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
  }

  int master_ = -1;
  Stream terminal_;
  Stream file_{std::tmpfile()};
};

TEST_F(TerminalTest, TellsATerminalFromAFile) {
  EXPECT_TRUE(IsTerminal(terminal_.get()));
  EXPECT_FALSE(IsTerminal(file_.get()));
  EXPECT_FALSE(IsTerminal(nullptr));
}

TEST_F(TerminalTest, HasItsWidth) {
  const Setting none("COLUMNS", nullptr);
  SetWidth(133);
  EXPECT_EQ(TerminalWidth(terminal_.get()), 133U);
  EXPECT_EQ(OutputWidth(terminal_.get()), 133U);
  SetWidth(0);
  EXPECT_EQ(TerminalWidth(terminal_.get()), std::nullopt) << "it does not know";
  EXPECT_EQ(OutputWidth(terminal_.get()), kUsualWidth);
  EXPECT_EQ(TerminalWidth(file_.get()), std::nullopt);
  EXPECT_EQ(OutputWidth(file_.get()), kUsualWidth);
}

TEST_F(TerminalTest, TheEnvironmentTakesPrecedence) {
  SetWidth(133);
  {
    const Setting columns("COLUMNS", "60");
    EXPECT_EQ(OutputWidth(terminal_.get()), 60U);
    EXPECT_EQ(OutputWidth(file_.get()), 60U);
    EXPECT_EQ(TerminalWidth(terminal_.get()), 133U);
  }
  for (const char* text : {"", "0", "-5", "wide"}) {
    const Setting columns("COLUMNS", text);
    EXPECT_EQ(OutputWidth(terminal_.get()), 133U) << text;
  }
  const Setting columns("COLUMNS", "3");
  EXPECT_EQ(OutputWidth(terminal_.get()), 20U) << "no place for any text";
}

TEST_F(TerminalTest, ColoursByItself) {
  const Setting type("TERM", "xterm");
  const Setting noColor("NO_COLOR", nullptr);
  EXPECT_TRUE(UsesColor(ColorChoice::kAuto, terminal_.get()));
  EXPECT_FALSE(UsesColor(ColorChoice::kAuto, file_.get()));
  EXPECT_TRUE(UsesColor(ColorChoice::kAlways, file_.get()));
  EXPECT_FALSE(UsesColor(ColorChoice::kNever, terminal_.get()));
}

TEST_F(TerminalTest, TheEnvironmentTakesColoursAway) {
  {
    const Setting type("TERM", "xterm");
    const Setting noColor("NO_COLOR", "1");
    EXPECT_FALSE(UsesColor(ColorChoice::kAuto, terminal_.get()));
    EXPECT_TRUE(UsesColor(ColorChoice::kAlways, terminal_.get()));
    EXPECT_TRUE(TakesEscapes(terminal_.get()));
  }
  {
    const Setting type("TERM", "xterm");
    const Setting noColor("NO_COLOR", "");
    EXPECT_TRUE(UsesColor(ColorChoice::kAuto, terminal_.get())) << "an empty one is none";
  }
  const Setting type("TERM", "dumb");
  const Setting noColor("NO_COLOR", nullptr);
  EXPECT_FALSE(UsesColor(ColorChoice::kAuto, terminal_.get()));
  EXPECT_FALSE(TakesEscapes(terminal_.get()));
}

TEST(ColorOf, KnowsThreeNames) {
  EXPECT_EQ(ColorOf("auto"), ColorChoice::kAuto);
  EXPECT_EQ(ColorOf("always"), ColorChoice::kAlways);
  EXPECT_EQ(ColorOf("never"), ColorChoice::kNever);
  EXPECT_EQ(ColorOf("red"), std::nullopt);
}

}  // namespace
}  // namespace qvhost

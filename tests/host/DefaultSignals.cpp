#include <csignal>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

/// What a script starts in the background ignores SIGINT, and so would all that it starts: tests
/// that interrupt a run would wait for its end.
class DefaultSignals : public testing::Environment {
 public:
  void SetUp() override { ASSERT_NE(std::signal(SIGINT, SIG_DFL), SIG_ERR); }
};

const testing::Environment* const kDefaultSignals =
    testing::AddGlobalTestEnvironment(new DefaultSignals);

}  // namespace
}  // namespace qvhost

// What a host's own code throws passes through the library to the host: the component is in error
// or not begun, it can be destroyed, and nothing leaks.

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/shared/HeapUse.h"
#include "tests/shared/SmallModel.h"

namespace {

using qvtest::SmallModel;

/// The host's own exception, which the library knows nothing of.
struct HostTrouble : std::runtime_error {
  HostTrouble(const std::string& where, int code) : std::runtime_error(where), number(code) {}
  int number;
};

enum class Place { kHasMore, kNext, kNewPass };

/// Throws in one of its operations, in one of the passes, counted from 1.
class ThrowingIter : public qvtest::VectorRecordIter {
 public:
  ThrowingIter(Place place, int pass)
      : VectorRecordIter(SmallModel::Records()), place_(place), pass_(pass) {}

  [[nodiscard]] bool HasMore() const override {
    if (IsDue(Place::kHasMore) && Position() == 10) throw HostTrouble("HasMore", 17);
    return VectorRecordIter::HasMore();
  }
  const QvCommon::Record* Next() override {
    if (IsDue(Place::kNext) && Position() == 10) throw HostTrouble("Next", 17);
    return VectorRecordIter::Next();
  }
  int NewPass() override {
    const int result = VectorRecordIter::NewPass();
    if (IsDue(Place::kNewPass)) throw HostTrouble("NewPass", 17);
    return result;
  }

 private:
  [[nodiscard]] bool IsDue(Place place) const { return place == place_ && Passes() == pass_; }

  Place place_;
  int pass_;
};

using Case = std::tuple<QvConst::QvRegModelType, Place, int>;

/// Runs into the exception and answers what the host caught; the component goes out of scope.
int CaughtNumber(const Case& where) {
  const auto& [type, place, pass] = where;
  SmallModel model(type);
  ThrowingIter records(place, pass);
  const std::unique_ptr<IQvRegComponent> component = model.MakeComponent();
  try {
    (void)component->BuildModel(records);
  } catch (const HostTrouble& trouble) {
    EXPECT_TRUE(component->GetStatus().IsError());
    EXPECT_FALSE(component->IsModelBuilt());
    qvtest::VectorRecordIter sound(SmallModel::Records());
    EXPECT_TRUE(component->BuildModel(sound).IsError()) << "a component in error stays so";
    return trouble.number;
  }
  return 0;
}

class HostExceptions : public testing::TestWithParam<Case> {};

TEST_P(HostExceptions, PassThroughAndLeaveTheComponentInError) {
  EXPECT_EQ(CaughtNumber(GetParam()), 17);
  EXPECT_FALSE(qvtest::FitSmallModel(std::get<0>(GetParam())).empty()) << "the next one fits";
}

TEST_P(HostExceptions, LeaveNothingBehind) {
  EXPECT_EQ(qvtest::HeapGrowth([] { (void)CaughtNumber(GetParam()); }), 0U);
}

std::string NameOf(const testing::TestParamInfo<Case>& info) {
  const auto& [type, place, pass] = info.param;
  const char* const places[] = {"HasMore", "Next", "NewPass"};
  return std::string(type == QvConst::QvRegModelGLM ? "Linear" : "Logistic") +
         places[static_cast<int>(place)] + "InPass" + std::to_string(pass);
}

INSTANTIATE_TEST_SUITE_P(
    Places, HostExceptions,
    testing::Combine(testing::Values(QvConst::QvRegModelGLM, QvConst::QvRegModelLogistic),
                     testing::Values(Place::kHasMore, Place::kNext, Place::kNewPass),
                     testing::Values(1, 2, 3)),
    NameOf);

/// Without memory in its own code, a host is answered as if the library had run out.
TEST(HostExceptionsOfMemory, AnAllocationThatFailsInTheHostIsStatus305) {
  class Greedy : public qvtest::VectorRecordIter {
   public:
    using VectorRecordIter::VectorRecordIter;
    const QvCommon::Record* Next() override { throw std::bad_alloc(); }
  };
  SmallModel model(QvConst::QvRegModelGLM);
  Greedy records(SmallModel::Records());
  const auto component = model.MakeComponent();
  EXPECT_EQ(component->BuildModel(records).GetCode(), QvStatusCode::kTooManyParameters);
}

TEST(HostExceptionsOfCallbacks, OfACancelQueryPassThrough) {
  class Query : public QvQueryCancel {
   public:
    bool QueryCancel() override { throw HostTrouble("QueryCancel", 5); }
    bool QueryWillCancel() override { throw HostTrouble("QueryWillCancel", 5); }
  };
  Query query;
  SmallModel model(QvConst::QvRegModelGLM);
  model.Settings().SetCancelPointer(&query);
  qvtest::VectorRecordIter records(SmallModel::Records());
  const auto component = model.MakeComponent();
  EXPECT_THROW((void)component->BuildModel(records), HostTrouble);
  EXPECT_TRUE(component->GetStatus().IsError());
}

TEST(HostExceptionsOfCallbacks, OfAProgressListenerPassThrough) {
  class Listener : public ProgressListener {
   public:
    void ReportProgress(ProgressReport* report) override {
      throw HostTrouble("ReportProgress", report->DiscreteMeasure("iterNum"));
    }
  };
  Listener listener;
  SmallModel model(QvConst::QvRegModelLogistic);
  model.Settings().SetProgressListener(&listener);
  qvtest::VectorRecordIter records(SmallModel::Records());
  const auto component = model.MakeComponent();
  EXPECT_THROW((void)component->BuildModel(records), HostTrouble);
  EXPECT_TRUE(component->GetStatus().IsError());
}

}  // namespace

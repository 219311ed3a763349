#include "qvreg/logistic/QvIterationReporter.h"

#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using qvtest::CapturedDisplay;
using qvtest::kSlotAfterDestructor;
using qvtest::VirtualSlot;
using Doubles = std::vector<double>;

void ExpectEmpty(QvIterationReporter& reporter) {
  EXPECT_EQ(reporter.DiscreteMeasure("iterNum"), 0);
  EXPECT_EQ(reporter.DiscreteMeasure("stepHalving"), 0);
  EXPECT_EQ(reporter.ScaleMeasure("loglik"), 0.0);
  EXPECT_EQ(reporter.ScaleMeasure("time"), 0.0);
  EXPECT_EQ(reporter.VectorMeasure("paramEstim"), nullptr);
}

class QvIterationReporterTest : public ::testing::Test {
 protected:
  QvIterationReporterTest() { reporter_.SetInfo(&estimates_, 4, 2, -12.5, 0.75); }

  const Doubles estimates_{1, -2};
  QvIterationReporter reporter_;
};

TEST(QvIterationReporter, StartsEmpty) {
  QvIterationReporter reporter;
  ExpectEmpty(reporter);
}

TEST_F(QvIterationReporterTest, AnswersEveryMeasureByItsName) {
  EXPECT_EQ(reporter_.DiscreteMeasure("iterNum"), 4);
  EXPECT_EQ(reporter_.DiscreteMeasure("stepHalving"), 2);
  EXPECT_EQ(reporter_.ScaleMeasure("loglik"), -12.5);
  EXPECT_EQ(reporter_.ScaleMeasure("time"), 0.75);
  EXPECT_EQ(reporter_.VectorMeasure("paramEstim"), &estimates_);
}

TEST_F(QvIterationReporterTest, AnUnknownNameYieldsZeroOrNull) {
  for (const char* name :
       {"", "iternum", "IterNum", "iterNum ", "LogLik", "paramEstimate", "par"}) {
    EXPECT_EQ(reporter_.DiscreteMeasure(name), 0) << name;
    EXPECT_EQ(reporter_.ScaleMeasure(name), 0.0) << name;
    EXPECT_EQ(reporter_.VectorMeasure(name), nullptr) << name;
  }
}

TEST_F(QvIterationReporterTest, AMeasureOfAnotherKindIsUnknown) {
  EXPECT_EQ(reporter_.DiscreteMeasure("loglik"), 0);
  EXPECT_EQ(reporter_.DiscreteMeasure("time"), 0);
  EXPECT_EQ(reporter_.ScaleMeasure("iterNum"), 0.0);
  EXPECT_EQ(reporter_.ScaleMeasure("stepHalving"), 0.0);
  EXPECT_EQ(reporter_.VectorMeasure("loglik"), nullptr);
}

TEST_F(QvIterationReporterTest, ResetClearsEveryMeasure) {
  reporter_.Reset();
  ExpectEmpty(reporter_);
}

TEST_F(QvIterationReporterTest, CopiesCarryAllFiveFields) {
  QvIterationReporter copy(reporter_);
  QvIterationReporter assigned;
  assigned = reporter_;
  reporter_.Reset();
  for (QvIterationReporter* reporter : {&copy, &assigned}) {
    EXPECT_EQ(reporter->DiscreteMeasure("iterNum"), 4);
    EXPECT_EQ(reporter->DiscreteMeasure("stepHalving"), 2);
    EXPECT_EQ(reporter->ScaleMeasure("loglik"), -12.5);
    EXPECT_EQ(reporter->ScaleMeasure("time"), 0.75);
    EXPECT_EQ(reporter->VectorMeasure("paramEstim"), &estimates_);
  }
}

TEST_F(QvIterationReporterTest, DisplayPrintsItsFieldsInOrder) {
  const std::string text = CapturedDisplay(reporter_);
  EXPECT_EQ(qvtest::LineLabels(text),
            (std::vector<std::string>{"QvIterationReporter display start", "Iteration number",
                                      "Number of step halving", "Pseudo -2 log-likelihood",
                                      "Elapsed time in sec", "Parameter estimates",
                                      "QvIterationReporter display end"}))
      << text;
  EXPECT_TRUE(qvtest::HoldsInOrder(text, {"4", "2", "-12.5", "0.75", "1", "-2"}))
      << "the log-likelihood as it is, without the factor that its label names";
}

TEST(QvIterationReporter, DisplayTellsThatThereAreNoEstimates) {
  const QvIterationReporter reporter;
  EXPECT_TRUE(qvtest::HoldsInOrder(
      CapturedDisplay(reporter),
      {"Elapsed time in sec", "Parameter estimates pointer is 0", "display end"}));
}

TEST(ProgressReport, VirtualOperationsStandInTheirOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = kSlotAfterDestructor;
  EXPECT_EQ(VirtualSlot(&ProgressReport::DiscreteMeasure), slot++);
  EXPECT_EQ(VirtualSlot(&ProgressReport::ScaleMeasure), slot++);
  EXPECT_EQ(VirtualSlot(&ProgressReportVect::VectorMeasure), slot++);
  EXPECT_EQ(VirtualSlot(&QvIterationReporter::Reset), slot++);
  EXPECT_EQ(VirtualSlot(&QvIterationReporter::Display), slot++);
  EXPECT_EQ(VirtualSlot(&ProgressListener::ReportProgress), kSlotAfterDestructor);
}

TEST(ProgressReport, IsWhatAListenerIsHanded) {
  EXPECT_TRUE((std::is_base_of_v<ProgressReport, QvIterationReporter>));
  EXPECT_TRUE((std::is_base_of_v<ProgressReportVect, QvIterationReporter>));
  EXPECT_TRUE(std::has_virtual_destructor_v<ProgressReport>);
}

}  // namespace

// A host switches the diagnostic output of the shared library on and off.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "qvreg/qvreg.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/shared/SmallModel.h"

namespace {

using qvtest::SmallModel;

std::string OutputOfABuild() {
  SmallModel model(QvConst::QvRegModelLogistic);
  qvtest::VectorRecordIter records(SmallModel::Records());
  const std::unique_ptr<IQvRegComponent> component = model.MakeComponent();
  return qvtest::OutputOf([&] { EXPECT_TRUE(component->BuildModel(records).IsOK()); });
}

TEST(DiagnosticDisplay, IsSwitchedByTheHost) {
  EXPECT_EQ(OutputOfABuild(), "");
  QvComponentDisplay::SetDiagnosticDisplay(true);
  EXPECT_NE(OutputOfABuild().find("Computed Hessian:"), std::string::npos);
  QvComponentDisplay::SetDiagnosticDisplay(false);
  EXPECT_EQ(OutputOfABuild(), "");
}

}  // namespace

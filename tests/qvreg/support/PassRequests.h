#pragma once

#include <vector>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorParts.h"

namespace qvtest {

/// Keeps the requests of a run.
class RequestKeepingRunner : public IQvPassRunner {
 public:
  explicit RequestKeepingRunner(IQvRecordParts& parts) : runner_(parts, 1) {}
  QvCommon::QvStatus Run(const QvCommon::QvBytes& request, QvCancelInfo& cancel,
                         QvCommon::QvBytes& answer) override {
    requests.push_back(request);
    return runner_.Run(request, cancel, answer);
  }

  std::vector<QvCommon::QvBytes> requests;

 private:
  QvThreadRunner runner_;
};

/// The requests of a fit of the kind of model, of every kind of pass that it makes.
[[nodiscard]] inline std::vector<QvCommon::QvBytes> RequestsOf(
    ModelKind kind, const std::vector<QvCommon::Record>& records) {
  VectorParts parts(records, 3);
  RequestKeepingRunner runner(parts);
  UntouchedIter iter;
  RandomModel model(kind);
  model.Get().SetPassRunner(&runner);
  FittedModel(model.Get(), iter);
  return runner.requests;
}

}  // namespace qvtest

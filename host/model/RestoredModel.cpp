#include "host/model/RestoredModel.h"

#include <optional>
#include <utility>

#include "host/Error.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/StatusText.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/factory/QvRegFactory.h"

namespace qvhost {
namespace {

void Require(const QvCommon::QvStatus& status) {
  if (!status.IsError()) return;
  if (status.GetCode() == QvStatusCode::kUnreadableMessage) {
    throw Error(ExitCode::kBadInput,
                "The saved model is damaged, or of another version of this command. Fit the model "
                "again, and save it.");
  }
  throw Error(ExitCode::kRunFailed, StatusText(status));
}

}  // namespace

RestoredModel RestoredModel::OfBytes(const std::vector<unsigned char>& component) {
  QvModelContents contents;
  Require(QvModelMessage::Read(component, contents));
  return OfContents(std::move(contents));
}

RestoredModel RestoredModel::OfContents(QvModelContents contents) {
  RestoredModel model;
  model.contents_ = std::move(contents);
  QvRegFactory factory;
  model.component_.reset(factory.RestoreComponent(model.contents_));
  Require(factory.GetStatus());
  IQvRegOutputStats* output = nullptr;
  Require(model.component_->GetOutputStats(output));
  model.output_ = output;
  return model;
}

CoefficientCovariance RestoredModel::Coefficients() const {
  const double imposed = contents_.fSettings.fDF;
  return CoefficientCovarianceOf(*output_, imposed > 0.0 ? std::optional(imposed) : std::nullopt);
}

}  // namespace qvhost

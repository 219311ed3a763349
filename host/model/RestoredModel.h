#pragma once

#include <memory>
#include <vector>

#include "host/inference/CoefficientCovariance.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// A component made of what was kept of it, with its contents and results. Used from one thread at
/// a time.
class RestoredModel {
 public:
  /// Throws Error: kBadInput for bytes that hold no model, kRunFailed without memory.
  [[nodiscard]] static RestoredModel OfBytes(const std::vector<unsigned char>& component);
  /// The same of contents.
  [[nodiscard]] static RestoredModel OfContents(QvModelContents contents);

  [[nodiscard]] const QvModelContents& Contents() const { return contents_; }
  [[nodiscard]] const QvRegSettings& Settings() const { return component_->GetCompSettings(); }
  [[nodiscard]] const IQvRegOutputStats& Output() const { return *output_; }
  [[nodiscard]] IQvRegComponent& Component() const { return *component_; }
  /// Estimates and covariance of the model; borrows them.
  [[nodiscard]] CoefficientCovariance Coefficients() const;

 private:
  RestoredModel() = default;

  QvModelContents contents_;
  std::unique_ptr<IQvRegComponent> component_;
  const IQvRegOutputStats* output_ = nullptr;
};

}  // namespace qvhost

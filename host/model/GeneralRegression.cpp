#include "host/model/GeneralRegression.h"

#include <cstddef>
#include <string>
#include <vector>

#include "host/model/EstimateUnits.h"
#include "host/model/ExtensionFields.h"
#include "host/model/ModelExtension.h"
#include "host/model/ModelOutline.h"
#include "host/model/RestoredModel.h"
#include "host/model/XmlElement.h"
#include "qvreg/common/QvNumberText.h"

namespace qvhost {
namespace {

void AddCovariance(pugi::xml_node model, const std::vector<EstimateRow>& rows,
                   const std::vector<double>& triangle) {
  if (triangle.empty()) return;
  const pugi::xml_node matrix = AppendElement(model, "PCovMatrix");
  SetAttribute(matrix, "type", "model");
  auto value = triangle.begin();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const pugi::xml_node cell = AppendElement(matrix, "PCovCell");
      SetAttribute(cell, "pRow", rows[i].parameter);
      SetAttribute(cell, "pCol", rows[j].parameter);
      if (rows[i].category) {
        SetAttribute(cell, "tRow", *rows[i].category);
        SetAttribute(cell, "tCol", *rows[j].category);
      }
      SetAttribute(cell, "value", QvCommon::NumberText(*value++));
    }
  }
}

void AddEstimates(pugi::xml_node model, const std::vector<EstimateRow>& rows,
                  const std::vector<double>& estimates, const IQvRegOutputStats& output) {
  const pugi::xml_node matrix = AppendElement(model, "ParamMatrix");
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const pugi::xml_node cell = AppendElement(matrix, "PCell");
    if (rows[k].category) SetAttribute(cell, "targetCategory", *rows[k].category);
    SetAttribute(cell, "parameterName", rows[k].parameter);
    SetAttribute(cell, "beta", QvCommon::NumberText(estimates[k]));
    const bool isKept = output.GetRedundancyIndicators().IsIn(static_cast<int>(k));
    SetAttribute(cell, "df", isKept ? "1" : "0");
  }
}

}  // namespace

void WriteGeneralRegression(pugi::xml_node pmml, const SavedModel& saved) {
  const RestoredModel restored = RestoredModel::OfBytes(saved.component);
  const IQvRegOutputStats& output = restored.Output();
  const ModelOutline outline = OutlineOf(saved.variables, restored);
  EstimateUnits units;
  const DataEstimates data = ToData(restored, units);

  const pugi::xml_node model = AppendElement(pmml, "GeneralRegressionModel");
  WriteOutline(model, outline, saved.fit);
  AddCovariance(model, outline.rows, data.covariance);
  AddEstimates(model, outline.rows, data.estimates, output);
  WriteModelExtensions(model, restored.Contents());
  ExtensionWriter(model).Part("estimates", units, DescribeUnits);
}

}  // namespace qvhost

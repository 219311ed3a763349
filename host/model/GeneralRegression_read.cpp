#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/StatusText.h"
#include "host/model/EstimateUnits.h"
#include "host/model/ExtensionFields.h"
#include "host/model/GeneralRegression.h"
#include "host/model/ModelExtension.h"
#include "host/model/ModelOutline.h"
#include "host/model/RestoredModel.h"
#include "qvreg/common/QvNumberText.h"
#include "qvreg/component/QvModelMessage.h"

namespace qvhost {
namespace {

/// Goes over the elements in a list, which must all have one name.
class CellList {
 public:
  CellList(pugi::xml_node list, const char* cell) : next_(list.first_child()), cell_(cell) {}

  /// The next element; refuses any other, or none.
  pugi::xml_node Take() {
    if (next_.name() != std::string_view(cell_)) RefuseElement(cell_, "is missing");
    const pugi::xml_node taken = next_;
    next_ = next_.next_sibling();
    return taken;
  }
  [[nodiscard]] bool IsAtEnd() const { return !next_; }

 private:
  pugi::xml_node next_;
  const char* cell_;
};

double NumberOf(pugi::xml_node element, const char* attribute) {
  double value = 0.0;
  if (!QvCommon::ReadNumber(element.attribute(attribute).value(), value)) {
    RefuseElement(element.name(), fmt::format("has no number as its {}", attribute));
  }
  return value;
}

/// Refuses an element whose attribute is not this one.
void RequireText(pugi::xml_node element, const char* attribute, const char* text) {
  if (element.attribute(attribute).value() == std::string_view(text)) return;
  RefuseElement(element.name(), fmt::format("has a wrong {}", attribute));
}

std::size_t CountOf(pugi::xml_node list) {
  const auto children = list.children();
  return static_cast<std::size_t>(std::distance(children.begin(), children.end()));
}

/// The elements that make a model, in their order.
struct Elements {
  pugi::xml_node parameters;
  pugi::xml_node covariance;  ///< None where there is none.
  pugi::xml_node estimates;
  pugi::xml_node extensions;  ///< The first.
};

Elements ElementsOf(pugi::xml_node model) {
  pugi::xml_node next = model.first_child();
  const auto take = [&](const char* name) {
    if (next.name() != std::string_view(name)) RefuseElement(name, "is missing where it belongs");
    return std::exchange(next, next.next_sibling());
  };
  Elements elements;
  take("MiningSchema");
  elements.parameters = take("ParameterList");
  take("FactorList");
  take("CovariateList");
  take("PPMatrix");
  if (next.name() == std::string_view("PCovMatrix")) elements.covariance = take("PCovMatrix");
  elements.estimates = take("ParamMatrix");
  elements.extensions = next;
  return elements;
}

/// A row of PCovMatrix and ParamMatrix, as the latter names it.
struct Row {
  const char* parameter;
  const char* category;  ///< Empty in a linear model.
};

/// Reads ParamMatrix: estimates, and which are kept.
std::vector<Row> ReadEstimates(pugi::xml_node matrix, std::vector<double>& estimates,
                               std::vector<bool>& kept) {
  std::vector<Row> rows;
  for (CellList cells(matrix, "PCell"); !cells.IsAtEnd();) {
    const pugi::xml_node cell = cells.Take();
    rows.push_back(
        {cell.attribute("parameterName").value(), cell.attribute("targetCategory").value()});
    estimates.push_back(NumberOf(cell, "beta"));
    const double df = NumberOf(cell, "df");
    if (df != 0.0 && df != 1.0) RefuseElement("PCell", "has a df that is neither 0 nor 1");
    kept.push_back(df == 1.0);
  }
  if (rows.empty()) RefuseElement("ParamMatrix", "holds no PCell");
  return rows;
}

/// The rows name the parameters in their order, once for each category.
void RequireParameters(const std::vector<Row>& rows, pugi::xml_node list, std::size_t nBlocks) {
  CellList parameters(list, "Parameter");
  const std::size_t nBasic = rows.size() / nBlocks;
  for (std::size_t k = 0; k < nBasic; ++k) {
    const pugi::xml_node parameter = parameters.Take();
    for (std::size_t b = 0; b < nBlocks; ++b) {
      RequireText(parameter, "name", rows[b * nBasic + k].parameter);
    }
  }
}

std::vector<double> ReadCovariance(pugi::xml_node matrix, const std::vector<Row>& rows) {
  const std::size_t size = rows.size() * (rows.size() + 1) / 2;
  if (CountOf(matrix) != size) {
    RefuseElement("PCovMatrix", "does not have a PCovCell for every two rows of ParamMatrix");
  }
  RequireText(matrix, "type", "model");
  std::vector<double> triangle;
  triangle.reserve(size);
  CellList cells(matrix, "PCovCell");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const pugi::xml_node cell = cells.Take();
      RequireText(cell, "pRow", rows[i].parameter);
      RequireText(cell, "pCol", rows[j].parameter);
      RequireText(cell, "tRow", rows[i].category);
      RequireText(cell, "tCol", rows[j].category);
      triangle.push_back(NumberOf(cell, "value"));
    }
  }
  return triangle;
}

/// The flags of the first `nBasic` parameters; those of other categories must be the same.
std::vector<bool> BasicFlags(const std::vector<bool>& kept, std::size_t nBasic) {
  for (std::size_t k = 0; k < kept.size(); ++k) {
    if (kept[k] != kept[k % nBasic]) RefuseElement("PCell", "has a df of one category alone");
  }
  return {kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(nBasic)};
}

/// Reads all that the element holds of a component, whose estimates `data` receive as they stand
/// there, and `units` what they were converted with.
QvModelContents ContentsOf(pugi::xml_node model, DataEstimates& data, EstimateUnits& units) {
  const Elements elements = ElementsOf(model);
  std::vector<bool> kept;
  const std::vector<Row> rows = ReadEstimates(elements.estimates, data.estimates, kept);
  if (elements.covariance) data.covariance = ReadCovariance(elements.covariance, rows);

  QvModelContents contents;
  ExtensionReader rest(ReadModelExtensions(elements.extensions, contents));
  rest.Part("estimates", units, DescribeUnits);
  if (rest.Next()) RefuseElement(rest.Next().name(), "stands behind all others");

  const bool isLinear = !contents.fSettings.fLogistic;
  const std::size_t nBasic = CountOf(elements.parameters);
  const std::size_t nBlocks = nBasic == 0 ? 0 : rows.size() / nBasic;
  if (nBasic == 0 || rows.size() != nBasic * nBlocks || (isLinear && nBlocks != 1)) {
    RefuseElement("ParamMatrix", "does not have a PCell for every Parameter");
  }
  RequireParameters(rows, elements.parameters, nBlocks);
  if (isLinear) {
    contents.fLinear.fKept = std::move(kept);
    contents.fLinear.fKept.push_back(false);  // The dependent's.
  } else {
    contents.fLogistic.fEstimates.fKept = BasicFlags(kept, nBasic);
  }
  FromData(data, units, contents);
  return contents;
}

/// Whether two elements have the same attributes.
bool HaveSameAttributes(pugi::xml_node a, pugi::xml_node b) {
  const auto own = a.attributes();
  const auto others = b.attributes();
  const auto isSame = [](pugi::xml_attribute x, pugi::xml_attribute y) {
    return std::string_view(x.name()) == y.name() && std::string_view(x.value()) == y.value();
  };
  return std::equal(own.begin(), own.end(), others.begin(), others.end(), isSame);
}

/// Whether the elements in two lists are the same.
bool HaveSameCells(pugi::xml_node a, pugi::xml_node b) {
  const auto own = a.children();
  const auto others = b.children();
  return std::equal(own.begin(), own.end(), others.begin(), others.end(),
                    [](pugi::xml_node x, pugi::xml_node y) {
                      return std::string_view(x.name()) == y.name() && HaveSameAttributes(x, y) &&
                             x.first_child().empty() && y.first_child().empty();
                    });
}

/// What other engines take for estimates and covariance is what the component's are.
void RequireEstimates(const RestoredModel& restored, const DataEstimates& data,
                      const EstimateUnits& units) {
  EstimateUnits expectedUnits;
  const DataEstimates expected = ToData(restored, expectedUnits);
  if (!AreSameNumbers(data.estimates, expected.estimates)) {
    RefuseElement("ParamMatrix", "has other numbers than the model");
  }
  if (!AreSameNumbers(data.covariance, expected.covariance)) {
    RefuseElement("PCovMatrix", "has other numbers than the model");
  }
  if (!AreSameUnits(units, expectedUnits)) {
    RefuseElement("Extension 'estimates'", "has other numbers than the model");
  }
}

/// What other engines score with is the model that the variables are those of.
void RequireOutline(pugi::xml_node model, const std::vector<SavedVariable>& variables,
                    const RestoredModel& restored) {
  pugi::xml_document document;
  const pugi::xml_node expected = document.append_child(model.name());
  const ModelOutline outline = OutlineOf(variables, restored);
  WriteOutline(expected, outline, {});
  if (!HaveSameAttributes(expected, model)) {
    RefuseElement(model.name(), "has attributes of another model");
  }
  // The fields of MiningSchema are those of the document around it.
  for (const char* part : {"FactorList", "CovariateList", "PPMatrix"}) {
    if (HaveSameCells(expected.child(part), model.child(part))) continue;
    RefuseElement(part, "is not that of the model's variables");
  }
  CellList cells(model.child("ParamMatrix"), "PCell");
  for (const EstimateRow& row : outline.rows) {
    RequireText(cells.Take(), "targetCategory", row.category.value_or("").c_str());
  }
}

}  // namespace

void ReadGeneralRegression(pugi::xml_node model, SavedModel& saved) {
  if (model.name() != std::string_view("GeneralRegressionModel")) {
    RefuseElement("GeneralRegressionModel", "is missing");
  }
  DataEstimates data;
  EstimateUnits units;
  const RestoredModel restored = RestoredModel::OfContents(ContentsOf(model, data, units));
  RequireEstimates(restored, data, units);
  if (!saved.variables.empty()) RequireOutline(model, saved.variables, restored);
  std::vector<unsigned char> component;
  const QvCommon::QvStatus status = QvModelMessage::Write(restored.Contents(), component);
  if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
  // Names and digests do not say whether numbers, such as counts of records, are within their
  // bounds.
  QvModelContents readable;
  if (QvModelMessage::Read(component, readable).IsError()) {
    RefuseElement(model.name(), "holds a number that no model has");
  }
  saved.component = std::move(component);
}

}  // namespace qvhost

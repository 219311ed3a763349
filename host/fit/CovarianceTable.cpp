#include "host/fit/CovarianceTable.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/Error.h"
#include "host/inference/Inference.h"
#include "host/table/TableWriter.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

std::vector<WrittenColumn> ColumnsOf(const FitResult& fit) {
  std::vector<WrittenColumn> columns;
  if (fit.logistic) columns.push_back({"category", Type::kText});
  columns.push_back({"term", Type::kText});
  for (const ParameterResult& parameter : fit.parameters) {
    const std::string category = parameter.category ? *parameter.category + ":" : "";
    columns.push_back({category + parameter.label, Type::kNumber});
  }
  return columns;
}

}  // namespace

void WriteCovariance(const WholeFile& file, const FitResult& fit,
                     const CoefficientCovariance& covariance, const Interrupt& interrupt) {
  std::size_t row = 0;
  const auto nextRow = [&](RowCells& cells) {
    if (interrupt.Requested()) throw Cancelled();
    if (row == fit.parameters.size()) return false;
    std::size_t column = 0;
    const ParameterResult& parameter = fit.parameters[row];
    if (fit.logistic) cells.SetText(column++, parameter.category.value_or(""));
    cells.SetText(column++, parameter.label);
    for (std::size_t other = 0; other < fit.parameters.size(); ++other, ++column) {
      const std::optional<double> element = Finite(covariance.At(row, other));
      if (element) cells.SetNumber(column, *element);
    }
    ++row;
    return true;
  };
  WriteTable(file, ColumnsOf(fit), nextRow);
}

}  // namespace qvhost

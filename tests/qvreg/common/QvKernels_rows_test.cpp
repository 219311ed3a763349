// Loops of QvKernels that move rows and round nothing.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvKernels.h"

namespace QvCommon {
namespace {

using Doubles = std::vector<double>;

constexpr std::size_t kRows = QvKernels::kRows;

class QvKernelsRowsTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  const QvKernels& kernels_ = *GetParam();
};

TEST_P(QvKernelsRowsTest, FillsColumns) {
  constexpr std::size_t kStride = 24;
  Doubles rows(kRows * kStride);
  for (std::size_t place = 0; place < rows.size(); ++place) {
    rows[place] = static_cast<double>(place);
  }
  for (const std::size_t n : {std::size_t{1}, std::size_t{37}, kRows}) {
    Doubles columns(rows.size(), -1.0);
    kernels_.fFillColumns(n, kStride, rows.data(), columns.data());
    for (std::size_t place = 0; place < columns.size(); ++place) {
      const std::size_t r = place % kRows;
      const std::size_t column = place / kRows;
      const bool isWritten = r < QvKernels::WholeLanes(n);
      EXPECT_EQ(columns[place], isWritten ? rows[r * kStride + column] : -1.0)
          << n << " rows, row " << r << ", column " << column;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, QvKernelsRowsTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

}  // namespace
}  // namespace QvCommon

// Rows that are added to the model's sums together, in panels.

#include <algorithm>
#include <array>

#include "qvreg/logistic/QvLogModel.h"

bool QvLogModel::AddPanelToXPrimeX(const double* panel, std::size_t count, const double* weights) {
  if (!fbInitialized || fbFinished || fpProducts == nullptr || fCancel.IsFlagSet()) return false;
  constexpr std::size_t kRows = QvDesignRow::kPanelRows;
  const auto p = static_cast<std::size_t>(fNBasic);
  fDenseRows.resize(kRows * p);
  std::array<double, kRows> computed{};
  for (std::size_t j = 0; j < p; ++j) {
    const int position = fDesignRow.GetCopiedPosition(j);
    const double* column = computed.data();
    if (position >= 0) {
      column = panel + static_cast<std::size_t>(position) * kRows;
    } else {
      fDesignRow.FillColumn(j, panel, computed.data());
    }
    for (std::size_t r = 0; r < kRows; ++r) fDenseRows[r * p + j] = column[r];
  }
  for (std::size_t r = 0; r < count; ++r) {
    fpProducts->AddDense(weights[r], 0.0,
                         [&](double* row) { std::copy_n(&fDenseRows[r * p], p, row); });
  }
  return true;
}

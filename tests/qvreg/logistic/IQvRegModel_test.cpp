#include "qvreg/logistic/IQvRegModel.h"

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvLogModel.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using Doubles = std::vector<double>;
using Ints = std::vector<int>;

TEST(IQvRegModel, DeclaresItsOperationsInSlotOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  using qvtest::VirtualSlot;
  using RecordExpansion = bool (IQvRegModel::*)(const double*, Ints&, Doubles&) const;
  using RowExpansion = bool (IQvRegModel::*)(Doubles&, const double*) const;
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetFactorTables), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::Initialize), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::IsInitialized), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::AddRecordToXPrimeX), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::AddRowToXPrimeX), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::FindRedundancy), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::IsFinished), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::UpdateClassification), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::FinishClassification), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetXPrimeXMatrix), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetHessianGI), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetAllParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetBasicParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetNumAllParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetNumAllNonRedundant), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetNumBasicParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetNumBasicNonRedundant), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetParameterEstimates), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetBasicRedundancy), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetAllRedundancy), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetNumDependCategories), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetDependCategories), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetDependCategoryLocalIndices), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::DeleteXPrimeXMatrix), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::DeleteHessianGI), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetEffectParameterRange), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::ComputeCategoryProbabilities), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::SetEstimates), slot++);
  EXPECT_EQ(VirtualSlot(static_cast<RecordExpansion>(&IQvRegModel::ExpandRow)), slot++);
  EXPECT_EQ(VirtualSlot(static_cast<RowExpansion>(&IQvRegModel::ExpandRow)), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetSparseRow), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetSparseRowFromIndices), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::GetStatus), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegModel::Display), slot++);
  EXPECT_EQ(VirtualSlot(&QvLogModel::SetDependentCategories), slot++);
  EXPECT_EQ(VirtualSlot(&QvLogModel::GetStartingValues), slot++);
}

}  // namespace

#include "qvreg/component/IQvRegComponent.h"

#include <cstddef>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using qvtest::kSlotAfterDestructor;
using qvtest::VirtualSlot;

static_assert(!std::is_copy_constructible_v<IQvRegComponent> &&
              !std::is_move_assignable_v<IQvRegComponent> &&
              std::has_virtual_destructor_v<IQvRegComponent>);

TEST(IQvRegComponent, DeclaresItsOperationsInSlotOrder) {
  std::size_t slot = kSlotAfterDestructor;
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::GetModelType), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::CreateParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::BuildModel), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::IsModelBuilt), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::GetOutputStats), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::GetCompSettings), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::Score), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::Cancel), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::GetStatus), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::GetWarnings), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::Display), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::WriteScoring), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegComponent::WriteModel), slot++);
}

}  // namespace

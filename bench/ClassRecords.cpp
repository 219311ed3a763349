#include "bench/ClassRecords.h"

#include <algorithm>

#include "bench/Arguments.h"

namespace qvbench {

std::optional<ClassRecords> ClassRecords::FromArguments(int count, char** arguments) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) {
    numbers.push_back(static_cast<int>(PositiveArgument(arguments[i])));
  }
  const bool isEachPositive =
      std::all_of(numbers.begin(), numbers.end(), [](int number) { return number > 0; });
  if (numbers.size() < 2 || !isEachPositive || numbers[1] < 2) return std::nullopt;
  return ClassRecords{numbers[0], numbers[1], {numbers.begin() + 2, numbers.end()}};
}

}  // namespace qvbench

#pragma once

#include <cstddef>
#include <vector>

namespace QvCommon {
class QvByteReader;
class QvByteWriter;
}  // namespace QvCommon

/// What a row's outer product is multiplied by in every block of the information matrix, in two
/// parts: that of the pairs of categories one of which is decided, and that of the others.
///
/// A category that a row does not observe is decided when its probability there is almost 0, which
/// happens in fits that separate. What such pairs add is summed apart, so that it is not lost
/// beside the rest. Used from one thread at a time.
class QvBlockWeights {
 public:
  /// For K categories. May throw std::bad_alloc.
  void SetUp(std::size_t K);
  /// Takes each category's part of the total weight, once: from then on there are decided ones.
  void KeepShares(const std::vector<double>& categoryWeights, double weight);
  [[nodiscard]] bool HasShares() const { return fbHasShares; }
  /// By category the probability below which it is decided; 0 without shares.
  [[nodiscard]] const std::vector<double>& GetBounds() const { return fDecidedBelow; }
  void WriteShares(QvCommon::QvByteWriter& writer) const;
  void ReadShares(QvCommon::QvByteReader& reader);

  /// Finds the decided categories of a row that observes `category`; how many there are.
  int FindDecided(const std::vector<double>& probabilities, std::size_t category);
  /// Whether a category was found to be decided.
  [[nodiscard]] bool IsDecided(std::size_t category) const { return fIsDecided[category] != 0; }

  /// Computes all weights for a row without decided categories: they are the undecided ones.
  void Compute(const std::vector<double>& probabilities, double weight);
  /// Computes both parts for a row with such categories.
  void ComputeParted(const std::vector<double>& probabilities, double weight);
  /// Block after block in the order (0, 0), (1, 0), (1, 1), (2, 0), ...
  [[nodiscard]] const std::vector<double>& GetUndecided() const { return fUndecided; }
  [[nodiscard]] const std::vector<double>& GetDecided() const { return fDecided; }
  /// Whether nothing is undecided.
  [[nodiscard]] bool IsAllDecided() const;

 private:
  std::vector<double> fDecidedBelow;
  bool fbHasShares = false;
  std::vector<char> fIsDecided;  ///< By category.
  std::vector<double> fUndecided;
  std::vector<double> fDecided;
};

#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "qvreg/common/QvKernels.h"
#include "qvreg/design/QvRecordPatterns.h"

/// What sums over records have in common that are kept pattern by pattern (see QvRecordPatterns)
/// and moved to where they belong in the end: records are taken 64 at a time, the sums of one
/// pattern are an entry of a table of bounded size, and a table that is full is moved and begun
/// anew. Where a table got full of patterns with hardly a record each, no more records are taken.
///
/// Which records are moved when depends on their order alone, not on how many are given together.
/// Used from one thread at a time.
class QvPatternSums {
 public:
  QvPatternSums(const QvPatternSums&) = delete;
  QvPatternSums& operator=(const QvPatternSums&) = delete;
  virtual ~QvPatternSums() = default;

  /// Whether records are taken: after SetUp, unless it was found not to be worth it.
  [[nodiscard]] bool IsOpen() const { return fbOpen; }
  /// False once a record had a level combination without a parameter.
  [[nodiscard]] bool AreAllComplete() const { return fPatterns.AreAllComplete(); }

 protected:
  static constexpr std::size_t kRows = QvCommon::QvKernels::kRows;
  using Numbers = std::array<double, kRows>;

  QvPatternSums() = default;

  /// Is empty and takes records, with `nNumbers` >= 1 in the entry of a pattern, as
  /// QvRecordPatterns is set up. Rows are `stride` apart, at least as many as a row has values.
  /// Not open where the numbers are too many.
  void SetUpRows(const QvDesignRow& row, const QvFactorTables& tables,
                 const std::vector<int>& numbers, std::size_t stride, std::size_t nNumbers);
  /// How many values a row has, before SetUpRows.
  static std::size_t CountValues(const QvDesignRow& row, const QvFactorTables& tables,
                                 const std::vector<int>& numbers) {
    return QvPatternDesign(row, tables, numbers).GetValueCount();
  }
  /// Takes records with their weights and dependents, as many of the first as it does; all of them
  /// where it is open still. REQUIRES: levels that have a category. May throw std::bad_alloc.
  std::size_t Take(std::span<const double* const> records, const double* weights,
                   const double* dependents);
  /// Adds what is left of the panel, moves the sums of all patterns and forgets these. Records are
  /// taken again.
  void SettleAll();

  /// Adds the panel's records, of which there is one at least, to the sums of their patterns.
  virtual void AddPanel() = 0;
  /// Moves the sums of a pattern, the numbers of its entry, to where they belong.
  virtual void Move(int pattern, const double* entry) = 0;
  /// Writes a new pattern's entry, which is all zeros.
  virtual void Begin(int /*pattern*/, double* /*entry*/) {}

  /// The panel: how many rows, and of each the pattern, weight, dependent and values.
  [[nodiscard]] std::size_t GetRowCount() const { return fCount; }
  [[nodiscard]] const std::array<int, kRows>& GetRowPatterns() const { return fRowPatterns; }
  [[nodiscard]] const Numbers& GetWeights() const { return fWeights; }
  [[nodiscard]] const Numbers& GetDependents() const { return fDependents; }
  [[nodiscard]] std::size_t GetStride() const { return fStride; }
  [[nodiscard]] double* GetRow(std::size_t r) { return &fRows[r * fStride]; }
  [[nodiscard]] double* GetEntry(int pattern) {
    return &fEntries[static_cast<std::size_t>(pattern) * fNNumbers];
  }
  [[nodiscard]] const QvRecordPatterns& GetPatterns() const { return fPatterns; }
  [[nodiscard]] std::size_t GetValueCount() const { return fPatterns.GetDesign().GetValueCount(); }

 private:
  /// Takes records that fit into the panel, and into the table; how many.
  std::size_t Append(std::span<const double* const> records, const double* weights,
                     const double* dependents);
  void EndPanel();
  void MoveAll();

  QvRecordPatterns fPatterns;
  std::size_t fStride = 0;
  std::size_t fNNumbers = 0;
  std::vector<double> fEntries;  ///< Pattern after pattern.
  std::size_t fNTaken = 0;       ///< Records since the table was empty.
  bool fbOpen = false;
  std::size_t fCount = 0;
  std::array<int, kRows> fRowPatterns{};
  Numbers fWeights{};
  Numbers fDependents{};
  std::vector<double> fRows;
};

#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/component/QvModelContents.h"

/// \file
/// The parts of a model as bytes: the one place that says in which order their numbers stand. What
/// the passes of a run have in common with models that are kept, tables and estimates, is so too.
///
/// What is read may have any sizes, but no more than the bytes hold: who takes it checks them. What
/// it is read into is to be empty. All may throw std::bad_alloc.

/// How many lists there are in the bytes of tables, which do not say so.
struct QvTableShape {
  int fNFactors = 0;           ///< Of the settings.
  bool fbCategorical = false;  ///< Whether the dependent is counted.
  int fNEffects = 0;           ///< With factors.
};

void WriteTables(const QvTableContents& tables, QvCommon::QvByteWriter& writer);
void ReadTables(QvCommon::QvByteReader& reader, const QvTableShape& shape, QvTableContents& tables);

void WriteEstimates(const QvLinearEstimates& estimates, QvCommon::QvByteWriter& writer);
void ReadEstimates(QvCommon::QvByteReader& reader, QvLinearEstimates& estimates);

void WriteEstimates(const QvLogisticEstimates& estimates, QvCommon::QvByteWriter& writer);
void ReadEstimates(QvCommon::QvByteReader& reader, QvLogisticEstimates& estimates);

/// A whole model, without the head of its message.
void WriteModel(const QvModelContents& model, QvCommon::QvByteWriter& writer);
void ReadModel(QvCommon::QvByteReader& reader, QvModelContents& model);

/// The flags of a set of bits, and a set of such flags, whose validity is to be asked.
[[nodiscard]] std::vector<bool> FlagsOf(const QvCommon::QvBitSet& bits);
[[nodiscard]] QvCommon::QvBitSet BitsOf(const std::vector<bool>& flags);

/// The size of a lower triangle of so many rows.
[[nodiscard]] constexpr std::size_t TriangleSize(int order) {
  const auto rows = static_cast<std::size_t>(order);
  return rows * (rows + 1) / 2;
}

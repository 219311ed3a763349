#pragma once

#include <string>

#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ValidationOptions.h"
#include "host/table/CodedTable.h"

/// \file
/// Which part of a table a record belongs to: a number in a column of its own. It is the number k
/// of a part, from 0 on, where a record may be fitted, -2 - k where it is held out, and -1 where it
/// belongs to neither. As a factor without an effect the column keeps records with numbers below 0
/// from being fitted.

namespace qvhost {

/// Whether a record with this number is held out.
[[nodiscard]] constexpr bool IsHeldOut(double part) { return part < -1.5; }

/// How to change the parts. Borrows the interrupt.
struct PartChange {
  const Interrupt& interrupt;
  int threads = 1;
};

/// Fills the column of parts: of a split and a holdout with one part, of which the records held out
/// are marked; of folds with as many, none held out. REQUIRES: the binding has such a column, and
/// the table is as it was coded.
///
/// Rows go to folds and holdouts by their places in a RowShuffle: of n rows the first
/// floor(share n + 1/2) are held out, and place p is of fold floor(p folds / n). A split takes a
/// boolean column by its truth, true being fitted, and a pair of words by their meaning, such as
/// train and test; or the level of the options for what is fitted.
///
/// Throws Error (kBadInput) for a column of other than two values, or two whose meaning is open,
/// for more folds than rows, and for a share that holds out none of the rows or all; kRunFailed
/// when the temporary file fails; Cancelled.
void AssignParts(CodedTable& table, const ModelBinding& binding, const ValidationOptions& options,
                 const PartChange& change);

/// Holds the records of part `held` out, and no others. REQUIRES: a column that AssignParts filled.
void HoldOut(CodedTable& table, const ModelBinding& binding, int held, const PartChange& change);

}  // namespace qvhost

#pragma once

/// The codes that a QvStatus of this library carries. Numbers are fixed: hosts keep message tables.
namespace QvStatusCode {

/// Success.
inline constexpr long kOK = 0;
/// The host's cancel query answered yes, or Cancel() was called.
inline constexpr long kCancelled = 1;
/// The settings name no dependent variable.
inline constexpr long kNoDependent = 301;
/// The intercept is switched off and there is no model effect.
inline constexpr long kEmptyModel = 302;
/// A stage that must come before is missing.
inline constexpr long kStageMissing = 303;
/// The record iterator could not go through a further pass: an iteration of a logistic model was
/// announced a record and got none. (An iterator that cannot start a pass gives kNoRecords.)
inline constexpr long kNoFurtherPass = 304;
/// More parameters than the matrix can hold (discrete datum 0: parameters, 1: the bound, which is
/// less), or an allocation that failed: then datum 1 is missing, or not less than datum 0.
inline constexpr long kTooManyParameters = 305;
/// The data were already processed.
inline constexpr long kDataProcessed = 306;
/// The record iterator could not be positioned at a first record, or no record was valid.
inline constexpr long kNoRecords = 307;
/// Nothing was accumulated, or the weights of the records used add up to nothing.
inline constexpr long kNothingToFit = 308;
/// The parameters were not created: an effect names a variable that has not that role, or the
/// settings' starting values are not as many as the parameters (discrete datum 0: values, 1:
/// parameters). Or no record was added before the sweep: the pass after the first used none.
inline constexpr long kNoParameters = 309;
/// The model is already built, or the matrix already swept.
inline constexpr long kAlreadyBuilt = 310;
/// The model is not built.
inline constexpr long kNotBuilt = 311;
/// The iterator announced a record but delivered none. A component in which a host's iterator,
/// listener or query threw an exception keeps this status, too.
inline constexpr long kRecordMissing = 312;
/// The data have not been processed.
inline constexpr long kDataNotProcessed = 313;
/// A record's values could not be read. The library's passes never find this: it is for those who
/// read records, as the C interface does.
inline constexpr long kUnreadableRecord = 314;
/// A record holds fewer values than the settings name variables.
inline constexpr long kShortRecord = 315;
/// A category code is not a whole number or exceeds the variable's bound (discrete datum 1: the
/// variable index, scale datum 1: the value).
inline constexpr long kBadCategory = 316;
/// Fewer than 2 categories of the dependent were observed.
inline constexpr long kOneCategory = 318;
/// Warning: the requested reference category was not observed; the last observed one is used.
inline constexpr long kReferenceNotObserved = 319;
/// Bytes that are not what they should be: damaged or cut, of another version or another run, or a
/// pass request whose arithmetic this library does not compute.
inline constexpr long kUnreadableMessage = 320;

}  // namespace QvStatusCode

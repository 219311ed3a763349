#pragma once

/**
 * \file
 * The library in plain C11: for hosts of another compiler, another language or another run-time
 * library than its own. A host in C++ of the same compiler may use qvreg/qvreg.h instead.
 *
 * - Handles (`qvreg_settings`, `qvreg_effect`, `qvreg_source`, `qvreg_component`,
 *   `qvreg_parameters`, `qvreg_results`) are opaque. What a `..._create`, `..._open`, `..._clone`
 *   or `..._get` function hands out belongs to the host, which gives it back to the `..._destroy`
 *   function of its kind; null is allowed there, and a handle of another kind is ignored. A handle
 *   keeps alive what it needs: results outlive their component, a component its settings.
 * - A function that can fail returns an int32_t of `qvreg_code`: QVREG_OK, a status of the library
 *   under its own number, or a code of this interface from 1001 on. What it would have written is
 *   then left as it was, unless its words say otherwise. The last argument, `error`, receives the
 *   same code with a message; it may be null. With a warning QVREG_OK is returned, and `error`
 *   holds the warning's code.
 * - A null handle, a handle of another kind, a null pointer, a wrong size or index is a code, not a
 *   crash. A handle that was destroyed is often noticed, but not always: that is a host's defect.
 * - All structures but qvreg_column, which never changes, begin with `struct_size`, which the host
 *   sets to the size that it was compiled with.
 * - Lists go into buffers of the host: `capacity` is their length, `count` (may be null) receives
 *   how long the list is, also with QVREG_BUFFER_TOO_SMALL. Null buffers and a capacity of 0 ask
 *   for the count alone.
 * - Truth values are an int32_t, 0 or 1; any number but 0 is read as true. Indices count from 0;
 *   records in a message or a status count from 1. Text is UTF-8; what is not, in a path or in the
 *   words of an exception, is shown as '?'.
 * - A missing number is QVREG_MISSING_VALUE. A NaN or an infinity is not missing: as a covariate
 *   it makes the covariate's parameters redundant, without an error or a warning; as the dependent
 *   of a linear model it makes the estimates 0 and the fit statistics missing. An infinite weight
 *   is above 0 and makes all parameters redundant; a NaN is no weight above 0. A host whose missing
 *   numbers are NaN turns them into QVREG_MISSING_VALUE; qvreg_results_get_means shows what got in
 *   all the same.
 * - A handle is used by one thread at a time, except that qvreg_component_cancel and
 *   qvreg_results_cancel may be called by any. A component and all results made of it count as one
 *   handle here, since they share what they compute with.
 * - Callbacks are called by the thread that called the library, during that call only, and must
 *   return to it: neither longjmp nor, in principle, an exception; an exception that a C++ host
 *   throws all the same becomes QVREG_CALLBACK_THREW. A callback may call, on the handles of the
 *   call it is made from, only the cancel functions; reading, estimating and scoring with them is
 *   refused with QVREG_BAD_ARGUMENT.
 * - A callback and its `user` must live as long as what has them: those of a source, like the
 *   values of its columns, until the source is destroyed; those of settings until these and every
 *   component made of them, and its results, are destroyed. Scoring asks the cancel callback too.
 * - What a minor version may change: functions, codes and enumerators are added, structures grow at
 *   their end. Nothing is removed, renumbered or reordered but in a new major version, or, before
 *   version 1.0, in a new minor one.
 */

#include "qvreg/c/qvreg_c_component.h"
#include "qvreg/c/qvreg_c_effect.h"
#include "qvreg/c/qvreg_c_logistic.h"
#include "qvreg/c/qvreg_c_parameters.h"
#include "qvreg/c/qvreg_c_results.h"
#include "qvreg/c/qvreg_c_scaled.h"
#include "qvreg/c/qvreg_c_settings.h"
#include "qvreg/c/qvreg_c_source.h"
#include "qvreg/c/qvreg_c_types.h"

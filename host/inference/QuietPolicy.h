#pragma once

#include <boost/math/policies/policy.hpp>

namespace qvhost {

/// Boost's distributions answer what does not exist as an infinity or a NaN, which Finite() then
/// drops, instead of throwing.
using QuietPolicy = boost::math::policies::policy<
    boost::math::policies::domain_error<boost::math::policies::ignore_error>,
    boost::math::policies::overflow_error<boost::math::policies::ignore_error>,
    boost::math::policies::pole_error<boost::math::policies::ignore_error>,
    boost::math::policies::evaluation_error<boost::math::policies::ignore_error>>;

}  // namespace qvhost

#pragma once

#include <boost/math/policies/policy.hpp>

namespace qvhost {

/// With it Boost's distributions do not throw: what does not exist is an infinity or NaN, which
/// Finite() turns into none.
using QuietPolicy = boost::math::policies::policy<
    boost::math::policies::domain_error<boost::math::policies::ignore_error>,
    boost::math::policies::overflow_error<boost::math::policies::ignore_error>,
    boost::math::policies::pole_error<boost::math::policies::ignore_error>,
    boost::math::policies::evaluation_error<boost::math::policies::ignore_error>>;

}  // namespace qvhost

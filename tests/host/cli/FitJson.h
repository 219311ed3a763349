#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qvhost {

/// What `qvreg fit` with these arguments says as JSON. Fails the test when the command fails or
/// says anything on standard error.
[[nodiscard]] nlohmann::json FitJson(std::vector<std::string> arguments);

/// The parameter of this label; of a logistic model the one that speaks of `category`. Throws
/// std::runtime_error when there is none.
[[nodiscard]] const nlohmann::json& ParameterOf(const nlohmann::json& fit, const std::string& label,
                                                const std::string& category = "");

}  // namespace qvhost

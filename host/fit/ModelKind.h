#pragma once

namespace qvhost {

/// The kinds of model that the command knows.
enum class ModelKind { kLinear, kLogistic };

/// As in `--model`.
[[nodiscard]] constexpr const char* ModelName(ModelKind kind) {
  return kind == ModelKind::kLinear ? "linear" : "logistic";
}

}  // namespace qvhost

#include "host/compare/SavedFit.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

using Json = nlohmann::json;

constexpr std::array<std::string_view, 6> kLinear = {
    "r_square", "adjusted_r_square", "residual_std_error", "log_likelihood", "aic", "bic"};
constexpr std::array<std::string_view, 6> kLogistic = {"loglik",     "mcfadden", "cox_snell",
                                                       "nagelkerke", "aic",      "bic"};

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

std::string ReadAll(const std::string& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) Refuse(fmt::format("There is no file '{}'.", file));
  if (std::filesystem::is_directory(file, error)) {
    Refuse(fmt::format("'{}' is a folder; name the JSON of a fit.", file));
  }
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream.good() && !stream.eof()) {
    Refuse(fmt::format("'{}' cannot be read ({}).", file, std::generic_category().message(errno)));
  }
  return text;
}

Json Parse(const std::string& file, const std::string& text) {
  if (text.empty()) Refuse(fmt::format("'{}' is empty; 'qvreg fit --json' writes a fit.", file));
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    const bool isCut = error.byte > text.size();
    Refuse(isCut ? fmt::format("'{}' is cut off after {} bytes; write it anew with 'qvreg fit "
                               "--json'.",
                               file, text.size())
                 : fmt::format("'{}' is no JSON (byte {}); name what 'qvreg fit --json' wrote.",
                               file, error.byte));
  }
}

/// Takes values out of the JSON of one file. Borrows both.
class Reader {
 public:
  Reader(const std::string& file, const Json& json) : file_(file), json_(json) {}

  /// What stands at a place such as "/fit/aic". Throws Error when it is not there, or no T.
  template <typename T>
  [[nodiscard]] T Get(const std::string& place) const {
    return As<T>(At(json_, place), place);
  }

  /// The same where null is none: for numbers and texts.
  template <typename T>
  [[nodiscard]] std::optional<T> Find(const std::string& place) const {
    return AsOptional<T>(At(json_, place), place);
  }

  [[nodiscard]] const Json& At(const Json& in, const std::string& place) const {
    const Json::json_pointer pointer(place);
    if (!in.contains(pointer)) Fail(place);
    return in.at(pointer);
  }

  template <typename T>
  [[nodiscard]] T As(const Json& value, const std::string& place) const {
    try {
      return value.get<T>();
    } catch (const Json::exception&) {
      Fail(place);
    }
  }

  template <typename T>
  [[nodiscard]] std::optional<T> AsOptional(const Json& value, const std::string& place) const {
    if (value.is_null()) return std::nullopt;
    return As<T>(value, place);
  }

  [[noreturn]] void Fail(const std::string& place) const {
    Refuse(fmt::format(
        "'{}' does not have '{}' as this version of qvreg writes it; write it anew with 'qvreg fit "
        "--json'.",
        file_, place.substr(1)));
  }

 private:
  const std::string& file_;
  const Json& json_;
};

SavedParameter ParameterOf(const Reader& reader, const Json& json, bool isLogistic) {
  SavedParameter parameter;
  const auto text = [&](const char* place) {
    return reader.As<std::string>(reader.At(json, place), place);
  };
  if (isLogistic) parameter.category = text("/category");
  parameter.label = text("/label");
  const Json& levels = reader.At(json, "/levels");
  for (const auto& [factor, level] : levels.items()) parameter.factors.insert(factor);
  parameter.covariates =
      reader.As<std::map<std::string, int>>(reader.At(json, "/covariates"), "/covariates");
  parameter.estimate = reader.As<double>(reader.At(json, "/estimate"), "/estimate");
  parameter.stdError = reader.AsOptional<double>(reader.At(json, "/std_error"), "/std_error");
  parameter.redundant = reader.As<bool>(reader.At(json, "/redundant"), "/redundant");
  return parameter;
}

void ReadStatistics(const Reader& reader, SavedFit& fit) {
  const auto& keys = fit.isLogistic ? kLogistic : kLinear;
  for (const std::string_view key : keys) {
    fit.statistics.push_back({std::string(key), reader.Find<double>(fmt::format("/fit/{}", key))});
  }
  if (!fit.isLogistic) return;
  fit.isSound =
      reader.Get<bool>("/fit/converged") && reader.Get<std::string>("/fit/separation") == "none";
  fit.reference = reader.Get<std::string>("/reference");
}

}  // namespace

int SavedFit::Kept() const {
  return static_cast<int>(
      std::ranges::count_if(parameters, [](const SavedParameter& p) { return !p.redundant; }));
}

std::optional<double> SavedFit::Statistic(const std::string& key) const {
  const auto found = std::ranges::find(statistics, key, &SavedStatistic::key);
  return found == statistics.end() ? std::nullopt : found->value;
}

SavedFit ReadFit(const std::string& file) {
  const Json json = Parse(file, ReadAll(file));
  const bool isFit = json.is_object() && json.contains("model") && json.contains("parameters");
  if (!isFit) {
    Refuse(fmt::format("'{}' is not the JSON of a fit; name what 'qvreg fit --json' wrote.", file));
  }
  const Reader reader(file, json);
  SavedFit fit;
  fit.file = file;
  const auto model = reader.Get<std::string>("/model");
  if (model != "linear" && model != "logistic") reader.Fail("/model");
  fit.isLogistic = model == "logistic";
  fit.formula = reader.Get<std::string>("/formula");
  fit.data = reader.Get<std::string>("/data");
  fit.where = reader.Find<std::string>("/where").value_or("");
  fit.dependent = reader.Get<std::string>("/dependent");
  fit.used = reader.Get<long long>("/records/used");
  fit.digest = reader.Get<std::string>("/records/digest");
  fit.degreesOfFreedom = reader.Find<double>("/degrees_of_freedom");
  fit.covariance = reader.Get<std::string>("/covariance/type");
  const Json& parameters = reader.At(json, "/parameters");
  if (!parameters.is_array() || parameters.empty()) reader.Fail("/parameters");
  for (const Json& parameter : parameters) {
    fit.parameters.push_back(ParameterOf(reader, parameter, fit.isLogistic));
  }
  ReadStatistics(reader, fit);
  return fit;
}

}  // namespace qvhost

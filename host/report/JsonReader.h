#pragma once

#include <concepts>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qvhost {

/// A place in the JSON that a command wrote, from which values are read. Objects keep the order of
/// their members; members that nobody asks for are skipped. Every operation throws Error
/// (kBadInput), which names file and place, for what is not there or is something else.
///
/// Borrows the JSON and the file's name.
class JsonReader {
 public:
  using Json = nlohmann::ordered_json;

  /// What the JSON is of, and what writes it, for messages.
  struct Origin {
    const char* what = "a fit";
    const char* writer = "qvreg fit --json";
  };

  /// The whole of a file.
  JsonReader(const Json& json, const std::string& file) : JsonReader(json, file, Origin()) {}
  JsonReader(const Json& json, const std::string& file, Origin origin)
      : JsonReader(json, file, origin, "") {}

  /// Reads a text. Throws Error (kBadInput) for one that is cut off or no JSON object.
  [[nodiscard]] static Json Parse(const std::string& text, const std::string& file, Origin origin);

  /// Whether the object has the member.
  [[nodiscard]] bool Has(const std::string& key) const {
    return json_->is_object() && json_->contains(key);
  }
  /// The member of an object.
  [[nodiscard]] JsonReader At(const std::string& key) const;
  /// The elements of an array.
  [[nodiscard]] std::vector<JsonReader> Elements() const;
  /// The members of an object.
  [[nodiscard]] std::vector<std::pair<std::string, JsonReader>> Members() const;

  [[nodiscard]] bool IsNull() const { return json_->is_null(); }

  /// What stands here: a bool, a whole number that the type can hold, a number, a text, or a list
  /// of those.
  template <typename T>
  [[nodiscard]] T As() const {
    if (!Holds(static_cast<T*>(nullptr))) Fail();
    return json_->get<T>();
  }

  template <typename T>
  [[nodiscard]] T Get(const std::string& key) const {
    return At(key).As<T>();
  }

  /// The same where null is none.
  template <typename T>
  [[nodiscard]] std::optional<T> Find(const std::string& key) const {
    const JsonReader member = At(key);
    return member.IsNull() ? std::nullopt : std::optional(member.As<T>());
  }

  /// A text; empty for null.
  [[nodiscard]] std::string FindText(const std::string& key) const {
    return Find<std::string>(key).value_or("");
  }

  /// The enumerator from 0 to `last` that has this name.
  template <typename Enum>
  [[nodiscard]] Enum OneOf(const std::string& key, const char* (*nameOf)(Enum), Enum last) const {
    const JsonReader member = At(key);
    const auto name = member.As<std::string>();
    for (int k = 0; k <= static_cast<int>(last); ++k) {
      if (name == nameOf(static_cast<Enum>(k))) return static_cast<Enum>(k);
    }
    member.Fail();
  }

  /// What `read` makes of each element of an array.
  template <typename Read>
  [[nodiscard]] auto List(const std::string& key, Read read) const {
    std::vector<std::invoke_result_t<Read, const JsonReader&>> list;
    for (const JsonReader& element : At(key).Elements()) list.push_back(read(element));
    return list;
  }

  /// Refuses what stands here.
  [[noreturn]] void Fail() const;
  void Require(bool isRight) const {
    if (!isRight) Fail();
  }

 private:
  JsonReader(const Json& json, const std::string& file, Origin origin, std::string place)
      : json_(&json), file_(&file), origin_(origin), place_(std::move(place)) {}

  [[nodiscard]] bool Holds(const bool* /*type*/) const { return json_->is_boolean(); }
  [[nodiscard]] bool Holds(const double* /*type*/) const { return json_->is_number(); }
  [[nodiscard]] bool Holds(const std::string* /*type*/) const { return json_->is_string(); }
  template <std::integral Integer>
  [[nodiscard]] bool Holds(const Integer* /*type*/) const {
    if (json_->is_number_unsigned()) return std::in_range<Integer>(json_->get<std::uint64_t>());
    return json_->is_number_integer() && std::in_range<Integer>(json_->get<std::int64_t>());
  }
  template <typename T>
  [[nodiscard]] bool Holds(const std::vector<T>* /*type*/) const {
    if (!json_->is_array()) return false;
    for (const JsonReader& element : Elements()) (void)element.As<T>();
    return true;
  }

  const Json* json_;
  const std::string* file_;
  Origin origin_;
  std::string place_;  ///< `parameters/3/label`; empty for the whole.
};

}  // namespace qvhost

#include "host/report/JsonReader.h"

#include <cstddef>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

std::string Below(const std::string& place, const std::string& name) {
  return place.empty() ? name : place + "/" + name;
}

}  // namespace

JsonReader::Json JsonReader::Parse(const std::string& text, const std::string& file,
                                   Origin origin) {
  if (text.empty()) {
    Refuse(fmt::format("'{}' is empty; '{}' writes {}.", file, origin.writer, origin.what));
  }
  Json json;
  try {
    json = Json::parse(text);
  } catch (const Json::parse_error& error) {
    const bool isCut = error.byte > text.size();
    Refuse(isCut ? fmt::format("'{}' is cut off after {} bytes; write it anew with '{}'.", file,
                               text.size(), origin.writer)
                 : fmt::format("'{}' is no JSON (byte {}); name what '{}' wrote.", file, error.byte,
                               origin.writer));
  } catch (const Json::out_of_range&) {
    Refuse(fmt::format("'{}' holds a number beyond those of a double; write it anew with '{}'.",
                       file, origin.writer));
  }
  if (json.is_object()) return json;
  Refuse(fmt::format("'{}' is not the JSON of {}; name what '{}' wrote.", file, origin.what,
                     origin.writer));
}

JsonReader JsonReader::At(const std::string& key) const {
  std::string place = Below(place_, key);
  const auto found = json_->is_object() ? json_->find(key) : json_->end();
  if (found != json_->end()) return {*found, *file_, origin_, std::move(place)};
  JsonReader(*json_, *file_, origin_, std::move(place)).Fail();
}

std::vector<JsonReader> JsonReader::Elements() const {
  Require(json_->is_array());
  std::vector<JsonReader> elements;
  for (std::size_t i = 0; i < json_->size(); ++i) {
    elements.push_back({(*json_)[i], *file_, origin_, Below(place_, std::to_string(i))});
  }
  return elements;
}

std::vector<std::pair<std::string, JsonReader>> JsonReader::Members() const {
  Require(json_->is_object());
  std::vector<std::pair<std::string, JsonReader>> members;
  for (const auto& [key, value] : json_->items()) {
    members.emplace_back(key, JsonReader(value, *file_, origin_, Below(place_, key)));
  }
  return members;
}

void JsonReader::Fail() const {
  Refuse(fmt::format(
      "'{}' does not have '{}' as this version of qvreg writes it; write it anew with '{}'.",
      *file_, place_, origin_.writer));
}

}  // namespace qvhost

#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "qvreg/common/QvNumberText.h"
#include "qvreg/component/QvContentsFields.h"

/// \file
/// Named numbers as `Extension` elements of PMML. What a value holds is described once, as
/// QvContentsFields.h tells, by a function that gives each of its numbers and its name to a writer
/// or a reader:
///
///     template <typename Value, typename Fields>
///     void Describe(Value& value, Fields& fields) { fields("name", value.number); }

namespace qvhost {

/// Throws Error (kBadInput): the element is not as this command writes it.
[[noreturn]] void RefuseElement(std::string_view element, std::string_view what);

/// Appends elements, each with a name and a value or further ones inside.
class ExtensionWriter : public QvContentsFields::PartsWriter<ExtensionWriter> {
 public:
  explicit ExtensionWriter(pugi::xml_node parent) : parent_(parent) {}

  void operator()(const char* name, const std::string& text) { Add(name, text); }
  void operator()(const char* name, double value) { Add(name, QvCommon::NumberText(value)); }
  template <typename Whole>
  requires std::is_integral_v<Whole>
  void operator()(const char* name, Whole value) {
    Add(name, QvCommon::NumberText(static_cast<long long>(value)));
  }
  template <typename Number>
  void operator()(const char* name, const std::vector<Number>& values) {
    Add(name, QvCommon::NumbersText(values));
  }

  template <typename Value, typename Describe>
  void Part(const char* name, const Value& value, Describe&& describe) {
    ExtensionWriter inner(Add(name));
    describe(value, inner);
  }

 private:
  pugi::xml_node Add(const char* name);
  void Add(const char* name, const std::string& value);

  pugi::xml_node parent_;
};

/// Reads elements in the order in which they were written.
class ExtensionReader : public QvContentsFields::PartsReader<ExtensionReader> {
 public:
  /// From the `first` of them on.
  explicit ExtensionReader(pugi::xml_node first) : next_(first) {}

  /// The element behind those that were read.
  [[nodiscard]] pugi::xml_node Next() const { return next_; }

  void operator()(const char* name, std::string& text) { text = Take(name); }
  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void operator()(const char* name, Number& value) {
    if (!QvCommon::ReadNumber(Take(name), value)) RefuseValue(name);
  }
  template <typename Number>
  void operator()(const char* name, std::vector<Number>& values) {
    if (!QvCommon::ReadNumbers(Take(name), values)) RefuseValue(name);
  }

  template <typename Value, typename Describe>
  void Part(const char* name, Value& value, Describe&& describe) {
    if (!IsNext(name)) RefuseNext(name);
    ExtensionReader inner(next_.first_child());
    describe(value, inner);
    if (inner.next_) RefuseValue(name);
    next_ = next_.next_sibling();
  }
  [[noreturn]] static void Refuse(const char* name, const char* why);
  [[nodiscard]] bool IsNext(const char* name) const;

 private:
  [[noreturn]] void RefuseNext(const char* name) const;
  [[noreturn]] static void RefuseValue(const char* name);
  /// The value of the next element, which must have the name, and goes on behind it.
  std::string_view Take(const char* name);

  pugi::xml_node next_;
};

}  // namespace qvhost

#include "host/formula/OperandCheck.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace qvhost {
namespace {

constexpr std::size_t kLongestShown = 40;  ///< Longer operands are not quoted in an error.

bool IsOneOf(ValueKind kind, std::initializer_list<ValueKind> allowed) {
  return kind == ValueKind::kUnknown || std::ranges::find(allowed, kind) != allowed.end();
}

std::string CallOf(const FormulaFunction& function) { return std::string(function.Name()) + "()"; }

/// A date's text is read as one.
bool MayMeet(ValueKind left, ValueKind right) {
  using enum ValueKind;
  if (left == kOther || right == kOther) return false;
  if (left == right || left == kUnknown || right == kUnknown) return true;
  return (left == kDateTime && right == kText) || (left == kText && right == kDateTime);
}

bool IsTextLiteral(const Value& value) { return value.sql.front() == '\''; }

/// Whether the function asks for what a date does not have.
bool IsOfTime(const FormulaFunction& function) {
  constexpr std::array<std::string_view, 4> kOfTime = {"hour", "minute", "second", "epoch"};
  return std::ranges::find(kOfTime, function.Name()) != kOfTime.end();
}

}  // namespace

void OperandCheck::Number(std::string_view sign, const Value& value) const {
  if (IsOneOf(value.kind, {ValueKind::kNumber})) return;
  Refuse(sign, "a number", value, WayOut(ValueKind::kNumber, value));
}

void OperandCheck::Text(std::string_view sign, const Value& value) const {
  if (IsOneOf(value.kind, {ValueKind::kText})) return;
  Refuse(sign, "text", value, WayOut(ValueKind::kText, value));
}

void OperandCheck::Condition(std::string_view sign, const Value& value) const {
  if (IsOneOf(value.kind, {ValueKind::kBoolean, ValueKind::kNumber})) return;
  Refuse(sign, "a condition, such as x > 0,", value, "");
}

void OperandCheck::Term(std::string_view sign, const Value& value, const Value& other) const {
  if (value.kind == ValueKind::kDateTime) return;
  if (IsTextLiteral(value) && other.kind == ValueKind::kDateTime) {
    const bool hasTime = value.sql.find(':') != std::string::npos;
    Refuse(sign, "a date or time", value,
           std::string("write ") + (hasTime ? "timestamp " : "date ") + value.sql + ".");
  }
  Number(sign, value);
}

void OperandCheck::Alike(const Value& left, const Value& right) const {
  if (MayMeet(left.kind, right.kind)) return;
  for (const Value* value : {&left, &right}) {
    if (value->kind != ValueKind::kOther) continue;
    throw tokens_.Error(value->place, Written(*value) +
                                          " is a list or structure, which a formula cannot "
                                          "compare; compute the value in --sql.");
  }
  const std::string way = left.kind == ValueKind::kBoolean && IsTextLiteral(right) ? TruthText(left)
                          : right.kind == ValueKind::kBoolean && IsTextLiteral(left)
                              ? TruthText(right)
                              : WayOut(left.kind, right);
  throw tokens_.Error(right.place, Written(right) + " is " + std::string(KindText(right.kind)) +
                                       ", but " + Written(left) + " is " +
                                       std::string(KindText(left.kind)) +
                                       (way.empty() ? "." : "; " + way));
}

void OperandCheck::Argument(const FormulaFunction& function, std::size_t index,
                            const Value& value) const {
  const std::string call = CallOf(function);
  switch (function.KindOfArgument(index)) {
    case ArgumentKind::kNumber:
    case ArgumentKind::kWhole:
      return Number(call, value);
    case ArgumentKind::kText:
      return Text(call, value);
    case ArgumentKind::kCondition:
      return Condition(call, value);
    case ArgumentKind::kDateTime:
      if (IsOneOf(value.kind, {ValueKind::kDateTime})) return;
      Refuse(call, "a date or time", value,
             IsOfTime(function) && value.kind == ValueKind::kText
                 ? CastText("dates and times", value, "timestamp")
                 : WayOut(ValueKind::kDateTime, value));
    case ArgumentKind::kSame:
    case ArgumentKind::kAny:
      if (value.kind != ValueKind::kOther) return;
      Refuse(call, "a number, text, a boolean, or a date or time", value, "");
    case ArgumentKind::kFormat:
      if (IsTextLiteral(value)) return;
      throw tokens_.Error(value.place,
                          call + " takes a format in quotes here, such as '%Y-%m-%d'.");
    case ArgumentKind::kUnit: {
      const std::string_view sql = value.sql;
      if (IsTextLiteral(value) && IsTimeUnit(sql.substr(1, sql.size() - 2))) return;
      throw tokens_.Error(value.place,
                          call + " takes a unit of time here, which is " + TimeUnitList() + ".");
    }
  }
}

void OperandCheck::Refuse(std::string_view who, std::string_view wants, const Value& value,
                          const std::string& wayOut) const {
  const bool isSign = !who.ends_with(')');
  throw tokens_.Error(value.place, (isSign ? "'" + std::string(who) + "'" : std::string(who)) +
                                       " takes " + std::string(wants) + " here, but " +
                                       Written(value) + " is " + std::string(KindText(value.kind)) +
                                       (wayOut.empty() ? "." : "; " + wayOut));
}

std::string OperandCheck::WayOut(ValueKind kind, const Value& value) const {
  using enum ValueKind;
  if (value.place.end - value.place.begin > kLongestShown) return "";
  const std::string x(
      tokens_.Text().substr(value.place.begin, value.place.end - value.place.begin));
  if (kind == kNumber && value.kind == kBoolean) return "write if(" + x + ", 1, 0).";
  if (kind == kNumber && value.kind == kText) {
    std::string hint = value.numberHint ? value.numberHint() : "";
    if (!hint.empty()) return hint;
    return "if it holds numbers, write cast(" + x + " as double).";
  }
  if (kind == kNumber && value.kind == kDateTime) return "write epoch(" + x + ") for seconds.";
  if (kind == kText && value.kind != kOther) return "write cast(" + x + " as text).";
  if (kind == kDateTime && value.kind == kText) {
    return CastText("dates", value, "date");
  }
  return "";
}

std::string OperandCheck::CastText(std::string_view holds, const Value& value,
                                   std::string_view type) const {
  const std::string x(
      tokens_.Text().substr(value.place.begin, value.place.end - value.place.begin));
  return "if it holds " + std::string(holds) + ", write cast(" + x + " as " + std::string(type) +
         ").";
}

std::string OperandCheck::TruthText(const Value& value) const {
  const std::string x(
      tokens_.Text().substr(value.place.begin, value.place.end - value.place.begin));
  return "write " + x + ", or not " + x + ".";
}

std::string OperandCheck::Written(const Value& value) const {
  std::string text(tokens_.Text().substr(value.place.begin, value.place.end - value.place.begin));
  if (text.size() > kLongestShown) return "this value";
  return text.front() == '\'' ? text : "'" + text + "'";
}

}  // namespace qvhost

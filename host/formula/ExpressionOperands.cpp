// What an ExpressionReader makes of operands: names, texts, numbers, calls, types.
#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "host/Text.h"
#include "host/formula/ExpressionReader.h"
#include "host/formula/ForeignFunction.h"
#include "host/formula/TermFunction.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {
namespace {

Cost CostOf(const std::vector<Value>& values) {
  Cost cost{0, 1};
  for (const Value& value : values) cost = Max(cost, value.cost);
  return cost;
}

/// A number that DuckDB would read as infinite or as 0 is a slip.
bool FitsDouble(std::string_view text) {
  double value = 0;
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc();
}

/// What to write instead of a call of a wrong number of arguments.
std::string UsageText(const FormulaFunction& function) {
  // Elsewhere the base is the second argument.
  if (function.Name() == "log") return "log2(x), log10(x), or ln(x) / ln(b) for another base b";
  return std::string(function.usage);
}

}  // namespace

Value ExpressionReader::Primary() {
  if (AtEnd()) RefuseAsOperand();
  const std::size_t first = Next();
  const Token& token = Tokens().At(first);
  switch (token.kind) {
    case TokenKind::kNumber:
      if (!FitsDouble(token.text)) {
        Refuse(token.place, "This number is too large or too small; write one within 1e±308.");
      }
      Take(PieceKind::kOperand);
      return {dialect_.Number(token.text), ValueKind::kNumber, token.place, {}};
    case TokenKind::kString:
      Take(PieceKind::kOperand);
      return {std::string(token.text), ValueKind::kText, token.place, {}};
    case TokenKind::kQuoted:
      return Column();
    case TokenKind::kName:
      return Named();
    case TokenKind::kDoubleQuoted:
    case TokenKind::kOperator:
    case TokenKind::kEnd:
      break;
  }
  if (token.Is("(")) return Grouped();
  RefuseAsOperand();
}

Value ExpressionReader::Named() {
  const Token& token = Current();
  if (AtWord("true") || AtWord("false")) {
    Take(PieceKind::kOperand);
    const bool isTrue = SameWord(token.text, "true");
    return {dialect_.Truth(isTrue), ValueKind::kBoolean, token.place, {}};
  }
  if (AtWord("case")) return CaseExpression();
  if (IsSqlWord(token.text)) RefuseAsOperand();
  if (Tokens().IsCall(Next())) return Call();
  if (Next() + 1 < Range().last && Tokens().At(Next() + 1).kind == TokenKind::kString) {
    return TypedText();
  }
  return Column();
}

Value ExpressionReader::Column() {
  const Token& token = Current();
  // A column may well be called "select"; a query goes on with a name, a number or `*`.
  const Token& after = Tokens().At(Next() + 1);
  const bool goesOn = Next() + 1 < Range().last &&
                      (after.IsColumnLike() || after.kind == TokenKind::kNumber || after.Is("*"));
  if (token.kind == TokenKind::kName && SameWord(token.text, "select") && goesOn) {
    Refuse(token.place,
           "A formula holds no query: it computes each value from one record; use --sql.");
  }
  columns_.push_back(Tokens().ColumnAt(Next()));
  TakeColumn(columns_.back().found);
  const ColumnUse& use = columns_.back();
  return {use.found.sql, use.found.kind, use.place, {}, use.found.numberHint};
}

Value ExpressionReader::Grouped() {
  const std::size_t first = Next();
  Take(PieceKind::kOpen);
  if (At(")")) {
    Refuse(Tokens().PlaceOf(first, Next()),
           "There is nothing between these parentheses; name a column.");
  }
  Value value = Expression();
  if (!Accept(")", PieceKind::kClose)) RefuseToken();
  value.place = From(first);
  return value;
}

Value ExpressionReader::TypedText() {
  const std::size_t first = Next();
  const std::string_view name = Tokens().At(first).text;
  const bool known =
      SameWord(name, "date") || SameWord(name, "time") || SameWord(name, "timestamp");
  if (!known) {
    Refuse(Tokens().At(first).place,
           "Only date, time and timestamp may stand before a text, as in date '2024-01-31'.");
  }
  Take(PieceKind::kWord);
  const std::string_view text = Current().text;
  if (text[1] < '0' || text[1] > '9') {
    Refuse(Current().place,
           "A date is written as '2024-01-31', a time as '23:59:00', a timestamp as '2024-01-31 "
           "23:59:00'.");
  }
  Take(PieceKind::kOperand);
  const Place place = From(first);
  return {Said(dialect_.TypedText(text, *FindCastType(name)), name, place),
          ValueKind::kDateTime,
          place,
          {}};
}

Value ExpressionReader::CaseExpression() {
  const std::size_t first = Next();
  AcceptWord("case");
  std::string sql = "(CASE";
  std::vector<Value> parts;
  if (!AtWord("when")) {
    parts.push_back(Expression());
    sql += " " + parts.back().sql;
  }
  const bool isSearched = parts.empty();
  std::vector<Value> results;
  ExpectWord("when", "case when x > 0 then 1 else 0 end");
  do {
    const Value when = Expression();
    if (isSearched) check_.Condition("when", when);
    if (!isSearched) check_.Alike(parts.front(), when);
    ExpectWord("then", "case when x > 0 then 1 else 0 end");
    results.push_back(Expression());
    check_.Alike(results.front(), results.back());
    sql += " WHEN " + (isSearched ? dialect_.Condition(when) : when.sql) + " THEN " +
           results.back().sql;
    parts.push_back(when);
  } while (AcceptWord("when"));
  if (AtWord("end")) {
    Refuse(Current().place,
           "This 'case' says nothing of the other records; put an 'else' before its 'end'.");
  }
  ExpectWord("else", "case when x > 0 then 1 else 0 end");
  results.push_back(Expression());
  check_.Alike(results.front(), results.back());
  sql += " ELSE " + results.back().sql + " END)";
  if (!AtWord("end")) ExpectWord("end", "case when x > 0 then 1 else 0 end");
  Take(PieceKind::kOperand);
  Cost cost = Max(CostOf(parts), CostOf(results));
  if (!isSearched) {
    cost.copies = std::max(cost.copies, parts.front().cost.copies * (parts.size() - 1));
  }
  return Made(std::move(sql), results.front().kind, From(first), cost);
}

// ---- Calls and types ---------------------------------------------------------

Value ExpressionReader::Call() {
  const std::size_t first = Next();
  const Token& name = Tokens().At(first);
  // I() only groups, and its parentheses stay in the label.
  if (name.text == "I") {
    Take(PieceKind::kCallee);
    return Grouped();
  }
  if (SameWord(name.text, "cast") || SameWord(name.text, "try_cast")) return CastCall();
  const FormulaFunction& function = Function();
  if (!function.note.empty() && SameWord(name.text, function.Name())) {
    notes_.emplace_back(function.note);
  }
  Take(PieceKind::kCallee);
  const std::vector<Value> arguments = Arguments(function, name.place);
  return Apply(function, arguments, From(first));
}

const FormulaFunction& ExpressionReader::Function() const {
  const Token& name = Current();
  if (FindTermFunction(name.text)) Refuse(name.place, InsideText(name.text));
  const FormulaFunction* const function = FindFunction(OwnFunctionName(name.text));
  if (function != nullptr) return *function;
  if (isCondition_ && IsMissingTest(name.text)) {
    const Place inside = {Tokens().At(Next() + 1).place.end,
                          Tokens().At(Tokens().CloseOf(Next() + 1)).place.begin};
    const std::string value(Tokens().Text().substr(inside.begin, inside.end - inside.begin));
    Refuse(name.place,
           "Write " + value + " is null, or " + value + " is not null for the opposite.");
  }
  Refuse(name.place, NoFunctionText(name.text));
}

void ExpressionReader::RefuseNamed(const FormulaFunction& function, std::size_t index) const {
  const ArgumentKind kind = function.KindOfArgument(index);
  const bool takesNumber = kind == ArgumentKind::kNumber || kind == ArgumentKind::kWhole;
  // A comparison is no number, so that this is none.
  if (!takesNumber || AtEnd() || Current().kind != TokenKind::kName) return;
  if (!Tokens().At(Next() + 1).Is("=")) return;
  Refuse(Current().place, "Arguments have no names here; write " + UsageText(function) + ".");
}

std::vector<Value> ExpressionReader::Arguments(const FormulaFunction& function, Place name) {
  Take(PieceKind::kOpen);
  std::vector<Value> arguments;
  if (!Accept(")", PieceKind::kClose)) {
    do {
      RefuseNamed(function, arguments.size());
      arguments.push_back(Expression());
      if (arguments.size() > function.MostArguments().value_or(arguments.size())) break;
      check_.Argument(function, arguments.size() - 1, arguments.back());
      const bool isWhole = function.KindOfArgument(arguments.size() - 1) == ArgumentKind::kWhole;
      if (isWhole) MakeWhole(arguments.back(), function.Name());
    } while (Accept(",", PieceKind::kComma));
    const bool tooMany = arguments.size() > function.MostArguments().value_or(arguments.size());
    if (!tooMany && !Accept(")", PieceKind::kClose)) RefuseToken();
  }
  const std::size_t most = function.MostArguments().value_or(arguments.size());
  if (arguments.size() < function.FewestArguments() || arguments.size() > most) {
    Refuse(name, "This call has too " + std::string(arguments.size() > most ? "many" : "few") +
                     " arguments; write " + UsageText(function) + ".");
  }
  return arguments;
}

void ExpressionReader::MakeWhole(Value& value, std::string_view call) const {
  value.sql = Said(dialect_.Whole(value.sql), call, value.place);
}

Value ExpressionReader::Apply(const FormulaFunction& function, const std::vector<Value>& arguments,
                              Place place) {
  const Value* same = nullptr;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (function.KindOfArgument(i) != ArgumentKind::kSame) continue;
    if (same != nullptr) check_.Alike(*same, arguments[i]);
    if (same == nullptr || same->kind == ValueKind::kUnknown) same = &arguments[i];
  }
  ValueKind kind = function.ResultKind();
  if (kind == ValueKind::kUnknown && same != nullptr) kind = same->kind;
  RepeatedSql call = Said(dialect_.Call(function, arguments), function.Name(), place);
  if (function.makesMissing) gaps_.push_back(call.sql);
  Cost cost = CostOf(arguments);
  cost.copies = call.copies;
  return Made(std::move(call.sql), kind, place, cost);
}

Value ExpressionReader::CastCall() {
  const std::size_t first = Next();
  const bool tries = SameWord(Tokens().At(first).text, "try_cast");
  Take(PieceKind::kCallee);
  Take(PieceKind::kOpen);
  const Value value = Expression();
  ExpectWord("as", "cast(x as double)");
  const CastType* type = nullptr;
  const std::string name = Type(type);
  if (!Accept(")", PieceKind::kClose)) RefuseToken();
  const Place place = From(first);
  const std::string sql =
      Said(dialect_.Cast(value, *type, name, tries), tries ? "try_cast" : "cast", place);
  if (tries) gaps_.push_back(sql);
  return Made(sql, type->kind, place, value.cost);
}

std::string ExpressionReader::Type(const CastType*& type) {
  const std::string sentence = "A type is one of " + std::string(CastTypeList()) + ".";
  if (AtEnd()) Refuse(Tokens().At(Next() - 1).place, sentence);
  const Token& token = Current();
  type = token.kind == TokenKind::kName ? FindCastType(token.text) : nullptr;
  if (type == nullptr) Refuse(token.place, sentence);
  Take(PieceKind::kCallee);
  std::string sql(type->sql);
  if (type->sql == "DOUBLE" && AtWord("precision")) Take(PieceKind::kCallee);
  if (type->kind == ValueKind::kDateTime && AtWord("with")) {
    Refuse(Current().place,
           "A formula has no type with a time zone, which the machine would settle; write "
           "timestamp.");
  }
  if (!type->hasWidth) return sql;
  // DuckDB's decimal without a width has three digits after the point.
  return At("(") ? sql + TypeWidth() : "DOUBLE";
}

std::string ExpressionReader::TypeWidth() {
  constexpr int kWidest = 38;
  const std::size_t open = Next();
  Take(PieceKind::kOpen);
  std::vector<int> numbers;
  do {
    const bool isNumber = !AtEnd() && Current().kind == TokenKind::kNumber;
    numbers.push_back(isNumber ? WholeNumber(Current().text).value_or(-1) : -1);
    if (isNumber) Take(PieceKind::kCallee);
  } while (numbers.back() >= 0 && Accept(",", PieceKind::kComma));
  const int width = numbers.front();
  const int scale = numbers.size() > 1 ? numbers[1] : 0;
  const bool fits = width >= 1 && width <= kWidest && scale >= 0 && scale <= width;
  if (!fits || numbers.size() > 2 || !Accept(")", PieceKind::kClose)) {
    Refuse(Tokens().At(open).place,
           "A decimal has a width from 1 to 38 and a scale up to it: decimal(10, 2).");
  }
  return "(" + std::to_string(width) + ", " + std::to_string(scale) + ")";
}

}  // namespace qvhost

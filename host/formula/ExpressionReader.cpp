#include "host/formula/ExpressionReader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/Text.h"
#include "host/table/Booleans.h"

namespace qvhost {
namespace {

struct Sign {
  std::string_view written;
  std::string_view sql;
};

constexpr std::array<Sign, 8> kComparisons = {{{"=", "="},
                                               {"==", "="},
                                               {"!=", "<>"},
                                               {"<>", "<>"},
                                               {"<", "<"},
                                               {"<=", "<="},
                                               {">", ">"},
                                               {">=", ">="}}};

constexpr std::array<std::string_view, 4> kProducts = {"*", "//", "/", "%"};

/// DuckDB makes of nullif(a, b) a case that holds a twice, and of a case of one value a comparison
/// with it for each `when`; a dialect may write a function as a case: inside each other they grow
/// beyond all bounds.
constexpr std::size_t kMostCopies = 256;

constexpr std::string_view kListText =
    "A list after 'in' holds numbers and texts alone, with commas between them.";

std::string Enclosed(std::string_view open, std::string_view inside) {
  return std::string(open) + std::string(inside) + ")";
}

}  // namespace

Variable ExpressionReader::Read() { return MakeVariable(Expression()); }

Variable ExpressionReader::ReadNumber(std::string_view call) {
  const Value value = Expression();
  check_.Number(call, value);
  return MakeVariable(value);
}

Variable ExpressionReader::ReadCondition() {
  isCondition_ = true;
  const Value value = Expression();
  Variable variable = MakeVariable(value);
  if (value.kind != ValueKind::kBoolean && value.kind != ValueKind::kUnknown) {
    Refuse(variable.place, "This is " + std::string(KindText(value.kind)) +
                               "; a condition is true or false, as in x > 5.");
  }
  return variable;
}

Variable ExpressionReader::MakeVariable(const Value& value) {
  if (!AtEnd()) RefuseToken();
  const Place place = Tokens().PlaceOf(Range().first, Range().last - 1);
  if (columns_.empty()) {
    Refuse(place, "This names no column; a variable is computed from one at least.");
  }
  Variable variable;
  variable.label = Label();
  variable.expression = Written();
  variable.sql = value.sql;
  variable.columns = std::move(columns_);
  variable.gaps = std::move(gaps_);
  variable.notes = std::move(notes_);
  variable.place = place;
  return variable;
}

// From the loosest operators to the tightest.

Value ExpressionReader::Expression() {
  const Level level = Enter();
  Value left = Conjunction();
  while (AcceptWord("or")) {
    const Value right = Conjunction();
    for (const Value* side : {&std::as_const(left), &right}) check_.Condition("or", *side);
    left = Binary(left, "OR", right, ValueKind::kBoolean);
  }
  return left;
}

Value ExpressionReader::Conjunction() {
  Value left = Negation();
  while (AcceptWord("and")) {
    const Value right = Negation();
    for (const Value* side : {&std::as_const(left), &right}) check_.Condition("and", *side);
    left = Binary(left, "AND", right, ValueKind::kBoolean);
  }
  return left;
}

Value ExpressionReader::Negation() {
  const std::size_t first = Next();
  if (!AcceptWord("not")) return Comparison();
  const Level level = Enter();
  const Value operand = Negation();
  check_.Condition("not", operand);
  return Made(Enclosed("(NOT ", dialect_.Condition(operand)), ValueKind::kBoolean, From(first),
              operand.cost);
}

Value ExpressionReader::Comparison() {
  Value left = Concatenation();
  if (AtEnd()) return left;
  if (isCondition_ && AtWord("is")) return IsNull(left);
  for (const Sign& sign : kComparisons) {
    if (!Accept(sign.written, PieceKind::kOperator)) continue;
    Value right = Concatenation();
    MakeAlike(left, right);
    for (const Sign& next : kComparisons) {
      if (!At(next.written)) continue;
      Refuse(Current().place,
             "One comparison follows another; join them with 'and', as in 1 < x and x < 2.");
    }
    return Binary(left, sign.sql, right, ValueKind::kBoolean);
  }
  const bool negated = AtWord("not") && Next() + 1 < Range().last;
  const std::size_t word = negated ? Next() + 1 : Next();
  const bool known = AtWord(word, "between") || AtWord(word, "in") || AtWord(word, "like") ||
                     AtWord(word, "ilike");
  if (!known) return left;
  if (negated) AcceptWord("not");
  if (AtWord("between")) return Between(left, negated);
  return AtWord("in") ? In(left, negated) : Like(left, negated);
}

void ExpressionReader::MakeAlike(Value& left, Value& right) const {
  const auto asNumber = [this](Value& value) { value.sql = dialect_.TruthAsNumber(value.sql); };
  const bool leftIs = left.kind == ValueKind::kBoolean && right.kind == ValueKind::kNumber;
  const bool rightIs = left.kind == ValueKind::kNumber && right.kind == ValueKind::kBoolean;
  if (leftIs) return asNumber(left);
  if (rightIs) return asNumber(right);
  MakeTruth(left, right);
  MakeTruth(right, left);
  check_.Alike(left, right);
}

void ExpressionReader::MakeTruth(const Value& truth, Value& text) const {
  if (truth.kind != ValueKind::kBoolean || !text.sql.starts_with('\'')) return;
  const auto value = TruthOf(std::string_view(text.sql).substr(1, text.sql.size() - 2));
  if (!value) return;
  text.sql = dialect_.Truth(*value);
  text.kind = ValueKind::kBoolean;
}

Value ExpressionReader::Between(const Value& left, bool negated) {
  AcceptWord("between");
  const Value low = Concatenation();
  ExpectWord("and", "x between 1 and 2");
  const Value high = Concatenation();
  check_.Alike(left, low);
  check_.Alike(left, high);
  return Made(
      "(" + left.sql + (negated ? " NOT" : "") + " BETWEEN " + low.sql + " AND " + high.sql + ")",
      ValueKind::kBoolean, Span(left.place, high.place), Max(left.cost, Max(low.cost, high.cost)));
}

Value ExpressionReader::In(const Value& left, bool negated) {
  const Place word = Current().place;
  AcceptWord("in");
  if (!Accept("(", PieceKind::kOpen)) {
    Refuse(word, "'in' takes a list of numbers or texts in parentheses, as in x in (1, 2).");
  }
  std::string list;
  do {
    Value value = Literal();
    MakeTruth(left, value);
    check_.Alike(left, value);
    list += (list.empty() ? "" : ", ") + value.sql;
  } while (Accept(",", PieceKind::kComma));
  if (!Accept(")", PieceKind::kClose)) Refuse(Current().place, std::string(kListText));
  return Made("(" + left.sql + (negated ? " NOT" : "") + " IN (" + list + "))", ValueKind::kBoolean,
              Span(left.place, Tokens().At(Next() - 1).place), left.cost);
}

Value ExpressionReader::Literal() {
  const std::size_t first = Next();
  const bool isSigned = !AtEnd() && (At("-") || At("+"));
  if (isSigned) Take(PieceKind::kUnary);
  const Token& token = Current();
  const bool isNumber = !AtEnd() && token.kind == TokenKind::kNumber;
  const bool isOther =
      !isSigned && !AtEnd() &&
      (token.kind == TokenKind::kString || AtWord("true") || AtWord("false") ||
       (token.kind == TokenKind::kName && Tokens().At(Next() + 1).kind == TokenKind::kString));
  if (!isNumber && !isOther) {
    Refuse(token.place, std::string(kListText));
  }
  Value value = Primary();
  if (!Tokens().At(first).Is("-")) return value;
  return Made(Enclosed("(- ", value.sql), value.kind, From(first), value.cost);
}

Value ExpressionReader::Like(const Value& left, bool negated) {
  const std::string word = AtWord("ilike") ? "ILIKE" : "LIKE";
  Take(PieceKind::kWord);
  const Value pattern = Concatenation();
  for (const Value* side : {&left, &pattern}) check_.Text("like", *side);
  return Binary(left, negated ? "NOT " + word : word, pattern, ValueKind::kBoolean);
}

Value ExpressionReader::IsNull(const Value& left) {
  AcceptWord("is");
  const bool negated = AcceptWord("not");
  ExpectWord("null", "x is null");
  return Made("(" + left.sql + " IS" + (negated ? " NOT" : "") + " NULL)", ValueKind::kBoolean,
              Span(left.place, Tokens().At(Next() - 1).place), left.cost);
}

Value ExpressionReader::Concatenation() {
  Value left = Sum();
  while (Accept("||", PieceKind::kOperator)) {
    left = Binary(left, "||", Sum(), ValueKind::kText);
  }
  return left;
}

Value ExpressionReader::Sum() {
  Value left = Product();
  while (At("+") || At("-")) {
    const std::string_view sign = Current().text;
    Take(PieceKind::kOperator);
    const Value right = Product();
    check_.Term(sign, left, right);
    check_.Term(sign, right, left);
    const bool dates = left.kind != ValueKind::kNumber || right.kind != ValueKind::kNumber;
    left = Binary(left, sign, right, dates ? ValueKind::kUnknown : ValueKind::kNumber);
  }
  return left;
}

Value ExpressionReader::Product() {
  Value left = Signed();
  const auto atProduct = [&] {
    return std::ranges::any_of(kProducts, [&](std::string_view sign) { return At(sign); });
  };
  while (atProduct()) {
    const std::string_view sign = Current().text;
    Take(PieceKind::kOperator);
    const Value right = Signed();
    for (const Value* side : {&std::as_const(left), &right}) check_.Number(sign, *side);
    left = Binary(left, sign, right, ValueKind::kNumber);
  }
  return left;
}

Value ExpressionReader::Signed() {
  if (!At("-") && !At("+")) return Power();
  const Level level = Enter();
  const std::size_t first = Next();
  const std::string_view sign = Current().text;
  Take(PieceKind::kUnary);
  const Value operand = Signed();
  check_.Number(sign, operand);
  if (sign == "+") return {operand.sql, operand.kind, From(first), operand.cost};
  return Made(Enclosed("(- ", operand.sql), ValueKind::kNumber, From(first), operand.cost);
}

Value ExpressionReader::Power() {
  Value base = Typed();
  if (!At("^") && !At("**")) return base;
  const std::string_view sign = Current().text;
  Take(PieceKind::kTight);
  // The exponent may have a sign and be a power itself: 2^-x, 2^3^2.
  const Level level = Enter();
  Value exponent = Signed();
  for (const Value* side : {&base, &exponent}) check_.Number(sign, *side);
  return Made(dialect_.Power(base.sql, exponent.sql), ValueKind::kNumber,
              Span(base.place, exponent.place), Max(base.cost, exponent.cost));
}

Value ExpressionReader::Typed() {
  Value value = Primary();
  while (Accept("::", PieceKind::kTight)) {
    const CastType* type = nullptr;
    const std::string name = Type(type);
    const Place place = Span(value.place, Tokens().At(Next() - 1).place);
    const std::string sql = Said(dialect_.Cast(value, *type, name, false), "cast", place);
    value = Made(sql, type->kind, place, value.cost);
  }
  return value;
}

Value ExpressionReader::Binary(const Value& left, std::string_view sign, const Value& right,
                               ValueKind kind) {
  const Place place = Span(left.place, right.place);
  return Made(Said(dialect_.Operation(left, sign, right), sign, place), kind, place,
              Max(left.cost, right.cost));
}

void ExpressionReader::RefuseUnsaid(std::string_view what, Place place) const {
  Refuse(place, "There is no form of '" + std::string(what) + "' " + std::string(dialect_.Where()) +
                    "; compute the value as a column of the data, and name that in the formula.");
}

Value ExpressionReader::Made(std::string sql, ValueKind kind, Place place, Cost operands) const {
  ++operands.levels;
  CheckLevels(operands.levels, place);
  if (operands.copies > kMostCopies) {
    Refuse(place,
           "Too many 'nullif' or 'case' stand inside each other; compute a part of this in --sql.");
  }
  return {std::move(sql), kind, place, operands};
}

}  // namespace qvhost

#include "host/model/PmmlExpression.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "host/Text.h"
#include "host/model/XmlElement.h"

namespace qvhost {
namespace {

using Kind = PmmlColumn::Kind;

/// A part of an expression. A plain value.
struct Node {
  Kind kind = Kind::kNumber;
  std::string function;  ///< Empty for a leaf.
  std::string field;     ///< Empty for a constant.
  std::string constant;
  std::vector<Node> operands;
};

bool IsNumeric(const Node& node) { return node.kind == Kind::kNumber; }

Node Constant(std::string text, Kind kind = Kind::kNumber) {
  return {kind, "", "", std::move(text), {}};
}

Node Apply(std::string function, Kind kind, std::vector<Node> operands) {
  return {kind, std::move(function), "", "", std::move(operands)};
}

struct Named {
  std::string_view sql;
  std::string_view pmml;
};

/// Functions of one number that are the same.
constexpr auto kFunctions = std::to_array<Named>(
    {{"abs", "abs"},          {"ln", "ln"},       {"log10", "log10"},  {"exp", "exp"},
     {"sqrt", "sqrt"},        {"floor", "floor"}, {"ceil", "ceil"},    {"sin", "sin"},
     {"cos", "cos"},          {"tan", "tan"},     {"asin", "asin"},    {"acos", "acos"},
     {"atan", "atan"},        {"sinh", "sinh"},   {"cosh", "cosh"},    {"tanh", "tanh"},
     {"pow", "pow"},          {"least", "min"},   {"greatest", "max"}, {"qvreg_log1p", "ln1p"},
     {"qvreg_expm1", "expm1"}});

constexpr auto kComparisons = std::to_array<Named>({{"=", "equal"},
                                                    {"<>", "notEqual"},
                                                    {"<", "lessThan"},
                                                    {"<=", "lessOrEqual"},
                                                    {">", "greaterThan"},
                                                    {">=", "greaterOrEqual"}});

template <std::size_t Size>
std::optional<std::string> Find(const std::array<Named, Size>& names, std::string_view sql) {
  const auto found = std::ranges::find(names, sql, &Named::sql);
  if (found == names.end()) return std::nullopt;
  return std::string(found->pmml);
}

/// Reads the SQL of an expression as ExpressionReader writes it for DuckDB: every operation stands
/// in parentheses, with a blank around its sign. Its parts are as deep as a formula allows.
class SqlReader {
 public:
  SqlReader(std::string_view sql, const PmmlColumns& columns) : rest_(sql), columns_(columns) {}

  /// None for what PMML does not say.
  std::optional<Node> Read() {
    std::optional<Node> node = Part();
    return rest_.empty() ? node : std::nullopt;
  }

 private:
  using Maybe = std::optional<Node>;

  bool Accept(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  /// What stands in quotes, doubled ones single.
  std::string Quoted(char quote) {
    std::string text;
    rest_.remove_prefix(1);
    while (!rest_.empty()) {
      const char c = rest_.front();
      rest_.remove_prefix(1);
      if (c == quote && (rest_.empty() || rest_.front() != quote)) break;
      if (c == quote) rest_.remove_prefix(1);
      text += c;
    }
    return text;
  }

  std::string_view Word() {
    const std::size_t end = rest_.find_first_of(" (),");
    const std::string_view word = rest_.substr(0, end);
    rest_.remove_prefix(word.size());
    return word;
  }

  Maybe Part() {
    if (rest_.empty()) return std::nullopt;
    const char c = rest_.front();
    if (c == '"') return Column();
    if (c == '\'') return Text();
    if (Accept("(CASE WHEN ")) return Choice();
    if (Accept("(- ")) return Minus();
    if (Accept("(NOT ")) return Negation();
    if (Accept("(")) return Operation();
    const std::string_view word = Word();
    if (word == "true" || word == "false") return Constant(std::string(word), Kind::kBoolean);
    if (Accept("(")) return word == "CAST" ? Cast() : Call(word);
    const bool isNumber =
        !word.empty() && (word.front() == '.' || (word.front() >= '0' && word.front() <= '9'));
    return isNumber ? Maybe(Constant(std::string(word))) : std::nullopt;
  }

  /// XML knows no text with this end of a line.
  Maybe Text() {
    std::string text = Quoted('\'');
    if (text.find('\r') != std::string::npos) return std::nullopt;
    return Constant(std::move(text), Kind::kText);
  }

  Maybe Column() {
    const std::string name = Quoted('"');
    const PmmlColumn column = columns_(name);
    if (column.kind == Kind::kOther) return std::nullopt;
    Node field{column.kind, "", name, "", {}};
    if (!column.trueText) return field;
    field.kind = Kind::kText;
    return Apply("equal", Kind::kBoolean, {field, Constant(*column.trueText, Kind::kText)});
  }

  Maybe Minus() {
    const Maybe operand = Part();
    if (!operand || !IsNumeric(*operand) || !Accept(")")) return std::nullopt;
    return Apply("*", Kind::kNumber, {Constant("-1"), *operand});
  }

  Maybe Negation() {
    const Maybe operand = Part();
    if (!operand || operand->kind != Kind::kBoolean || !Accept(")")) return std::nullopt;
    return Apply("not", Kind::kBoolean, {*operand});
  }

  Maybe Operation() {
    Maybe left = Part();
    if (!left) return std::nullopt;
    // A group of one part, as in I(x).
    if (Accept(")")) return left;
    if (!Accept(" ")) return std::nullopt;
    const bool isNegated = Accept("NOT ");
    if (Accept("BETWEEN ")) return Between(*left, isNegated);
    if (Accept("IN (")) return In(*left, isNegated);
    if (isNegated) return std::nullopt;
    const std::string sign(Word());
    if (!Accept(" ")) return std::nullopt;
    const Maybe right = Part();
    if (!right || !Accept(")")) return std::nullopt;
    return Combine(*left, sign, *right);
  }

  static Maybe Combine(const Node& left, const std::string& sign, const Node& right) {
    if (const auto function = Find(kComparisons, sign)) {
      if (left.kind != right.kind) return std::nullopt;
      return Apply(*function, Kind::kBoolean, {left, right});
    }
    if (sign == "AND" || sign == "OR") {
      if (left.kind != Kind::kBoolean || right.kind != Kind::kBoolean) return std::nullopt;
      return Apply(Lower(sign), Kind::kBoolean, {left, right});
    }
    if (!IsNumeric(left) || !IsNumeric(right)) return std::nullopt;
    constexpr std::string_view kSame = "+-*/";
    if (sign.size() != 1 || kSame.find(sign) == std::string_view::npos) return std::nullopt;
    return Apply(sign, Kind::kNumber, {left, right});
  }

  Maybe Between(const Node& value, bool isNegated) {
    const Maybe low = Part();
    if (!low || !Accept(" AND ")) return std::nullopt;
    const Maybe high = Part();
    if (!high || !Accept(")")) return std::nullopt;
    const Maybe above = Combine(value, ">=", *low);
    const Maybe below = Combine(value, "<=", *high);
    if (!above || !below) return std::nullopt;
    Node both = Apply("and", Kind::kBoolean, {*above, *below});
    return isNegated ? Apply("not", Kind::kBoolean, {std::move(both)}) : both;
  }

  Maybe In(const Node& value, bool isNegated) {
    std::vector<Node> operands = {value};
    do {
      const Maybe each = Part();
      if (!each || !Combine(value, "=", *each)) return std::nullopt;
      operands.push_back(*each);
    } while (Accept(", "));
    if (!Accept("))")) return std::nullopt;
    return Apply(isNegated ? "isNotIn" : "isIn", Kind::kBoolean, std::move(operands));
  }

  /// Behind `(CASE WHEN `; further cases become one in the place of the last value.
  Maybe Choice() {
    const Maybe condition = Part();
    if (!condition || condition->kind != Kind::kBoolean || !Accept(" THEN ")) return std::nullopt;
    const Maybe value = Part();
    if (!value) return std::nullopt;
    Maybe other;
    if (Accept(" WHEN ")) {
      other = Choice();
    } else if (Accept(" ELSE ")) {
      other = Part();
      if (!Accept(" END)")) return std::nullopt;
    }
    if (!other || other->kind != value->kind) return std::nullopt;
    return Apply("if", value->kind, {*condition, *value, *other});
  }

  /// Of a condition as 0 or 1, or of a number as a double.
  Maybe Cast() {
    const Maybe value = Part();
    if (!value) return std::nullopt;
    if (value->kind == Kind::kBoolean && Accept(" AS TINYINT)")) {
      return Apply("if", Kind::kNumber, {*value, Constant("1"), Constant("0")});
    }
    const bool isNumber = IsNumeric(*value) && Accept(" AS DOUBLE)");
    return isNumber ? value : std::nullopt;
  }

  Maybe Call(std::string_view name) {
    if (name == "pi" && Accept(")")) return Constant("3.141592653589793");
    std::vector<Node> arguments;
    do {
      const Maybe argument = Part();
      if (!argument || !IsNumeric(*argument)) return std::nullopt;
      arguments.push_back(*argument);
    } while (Accept(", "));
    if (!Accept(")")) return std::nullopt;
    const auto function = Find(kFunctions, name);
    if (!function) return std::nullopt;
    return Apply(*function, Kind::kNumber, std::move(arguments));
  }

  std::string_view rest_;
  const PmmlColumns& columns_;
};

/// Whether a part may have a value where one that it is made of is missing.
bool MayPassMissing(const Node& node) {
  constexpr auto kSuch =
      std::to_array<std::string_view>({"if", "and", "or", "isIn", "isNotIn", "min", "max"});
  const bool isSuch = std::ranges::find(kSuch, node.function) != kSuch.end();
  return isSuch || std::ranges::any_of(node.operands, MayPassMissing);
}

void FindFields(const Node& node, std::vector<std::string>& fields) {
  const bool isNew = !node.field.empty() && std::ranges::find(fields, node.field) == fields.end();
  if (isNew) fields.push_back(node.field);
  for (const Node& operand : node.operands) FindFields(operand, fields);
}

/// The node where all of its fields have values, and else nothing.
Node WherePresent(Node node) {
  std::vector<std::string> fields;
  FindFields(node, fields);
  std::vector<Node> tests;
  tests.reserve(fields.size());
  for (const std::string& field : fields) {
    tests.push_back(Apply("isNotMissing", Kind::kBoolean, {{Kind::kOther, "", field, "", {}}}));
  }
  Node all = tests.size() == 1 ? tests.front() : Apply("and", Kind::kBoolean, std::move(tests));
  const Kind kind = node.kind;
  return Apply("if", kind, {std::move(all), std::move(node)});
}

const char* TypeOf(Kind kind) {
  if (kind == Kind::kText) return "string";
  return kind == Kind::kBoolean ? "boolean" : "double";
}

void Append(pugi::xml_node parent, const Node& node) {
  if (!node.field.empty()) return AppendFieldRef(parent, node.field);
  if (node.function.empty()) {
    const pugi::xml_node constant = AppendElement(parent, "Constant");
    SetAttribute(constant, "dataType", TypeOf(node.kind));
    if (!node.constant.empty()) constant.text() = node.constant.c_str();
    return;
  }
  const pugi::xml_node apply = AppendApply(parent, node.function);
  for (const Node& operand : node.operands) Append(apply, operand);
}

}  // namespace

bool AppendExpression(pugi::xml_node parent, const Variable& variable, const PmmlColumns& columns) {
  if (!variable.gaps.empty()) return false;
  std::optional<Node> node = SqlReader(variable.sql, columns).Read();
  if (!node) return false;
  if (MayPassMissing(*node)) node = WherePresent(*std::move(node));
  Append(parent, *node);
  return true;
}

pugi::xml_node AppendApply(pugi::xml_node parent, const std::string& function) {
  const pugi::xml_node apply = AppendElement(parent, "Apply");
  SetAttribute(apply, "function", function);
  return apply;
}

void AppendConstant(pugi::xml_node parent, const std::string& number) {
  Append(parent, Constant(number));
}

void AppendFieldRef(pugi::xml_node parent, const std::string& field) {
  SetAttribute(AppendElement(parent, "FieldRef"), "field", field);
}

}  // namespace qvhost

#include "host/formula/Tokenizer.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "host/Text.h"
#include "host/formula/FormulaError.h"

namespace qvhost {

namespace {

constexpr std::array<std::string_view, 20> kSqlWords = {
    "and",   "as", "between", "case", "distinct", "else", "end", "escape", "false", "from",
    "ilike", "in", "is",      "like", "not",      "null", "or",  "then",   "true",  "when"};

/// Longer operators first, so that the longest one that fits is taken.
constexpr std::array<std::string_view, 34> kOperators = {
    "%in%", "->>", "**", "::", "||", "&&", "==", "!=", "<=", ">=", "<>", "<<",
    ">>",   "//",  "->", "+",  "-",  "*",  "/",  "%",  "^",  ":",  "~",  "(",
    ")",    "[",   "]",  ",",  "<",  ">",  "=",  "!",  "&",  "|"};

/// Operators of R that a formula has not.
struct ForeignOperator {
  std::string_view written;
  std::string_view reason;
};

constexpr std::array<ForeignOperator, 2> kForeignOperators = {
    {{"%%", "'%%' is written mod(a, b) here; the result has the sign of a."},
     {"%/%", "'%/%' is written floor(a / b) here."}}};

/// A character that word processors and web pages have in place of a plain one.
struct LookAlike {
  char32_t value;
  std::string_view plain;
};

constexpr std::string_view kMinus = "-";
constexpr std::string_view kTimes = "* (: for the crossing alone)";
constexpr std::string_view kTextQuotes = "' for a text and ` for a column";
constexpr std::string_view kBlank = "a blank";

constexpr auto kLookAlikes = std::to_array<LookAlike>(
    {{0x223C, "~"},         {0x2010, kMinus},      {0x2011, kMinus},      {0x2012, kMinus},
     {0x2013, kMinus},      {0x2014, kMinus},      {0x2212, kMinus},      {0xD7, kTimes},
     {0xB7, kTimes},        {0x22C5, kTimes},      {0x2217, kTimes},      {0xF7, "/"},
     {0x2215, "/"},         {0x2044, "/"},         {0x2264, "<="},        {0x2265, ">="},
     {0x2260, "!="},        {0xB4, kTextQuotes},   {0x2018, kTextQuotes}, {0x2019, kTextQuotes},
     {0x201A, kTextQuotes}, {0x201B, kTextQuotes}, {0x2032, kTextQuotes}, {0x201C, kTextQuotes},
     {0x201D, kTextQuotes}, {0x201E, kTextQuotes}, {0xAB, kTextQuotes},   {0xBB, kTextQuotes},
     {0xA0, kBlank},        {0x2003, kBlank},      {0x2009, kBlank},      {0x202F, kBlank}});

constexpr std::size_t kLongestShown = 40;  ///< Longer texts are cut in an error.

struct CodeRange {
  char32_t first;
  char32_t last;
};

/// Code points past ASCII that are no part of a bare name: signs, blanks, punctuation, arrows and
/// mathematical operators. They are mostly look-alikes of a blank, a quote or a minus.
constexpr std::array<CodeRange, 11> kNotInNames = {{{0x80, 0xA9},
                                                    {0xAB, 0xB4},
                                                    {0xB6, 0xB9},
                                                    {0xBB, 0xBF},
                                                    {0xD7, 0xD7},
                                                    {0xF7, 0xF7},
                                                    {0x2000, 0x206F},
                                                    {0x2190, 0x2BFF},
                                                    {0x3000, 0x3004},
                                                    {0x3008, 0x301F},
                                                    {0xFEFF, 0xFEFF}}};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsAsciiNameChar(char32_t c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.';
}

bool IsNameChar(char32_t c) {
  if (c < 0x80) return IsAsciiNameChar(c);
  return std::none_of(kNotInNames.begin(), kNotInNames.end(),
                      [&](const CodeRange& range) { return c >= range.first && c <= range.last; });
}

std::string HexName(char32_t value) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string digits;
  for (unsigned shift = 24; shift > 0; shift -= 4) {
    const auto digit = static_cast<std::size_t>((value >> (shift - 4)) & 0xF);
    // U+ names have four digits at least.
    if (digits.empty() && digit == 0 && shift > 16) continue;
    digits += kDigits[digit];
  }
  return "U+" + digits;
}

/// How an error names a character: itself when it can be told apart from others by eye.
std::string CharacterName(std::string_view bytes, char32_t value) {
  if (value < 0x20 || value == 0x7F) return HexName(value);
  if (value < 0x7F) return "'" + std::string(bytes) + "'";
  return "'" + std::string(bytes) + "' (" + HexName(value) + ")";
}

std::string InBackQuotes(std::string_view name) {
  std::string quoted = "`";
  for (const char c : name) quoted += c == '`' ? std::string(2, c) : std::string(1, c);
  return quoted + '`';
}

}  // namespace

bool IsSqlWord(std::string_view word) {
  return std::ranges::any_of(kSqlWords,
                             [&](std::string_view known) { return SameWord(word, known); });
}

std::string Quoted(const Token& token) { return "'" + std::string(token.text) + "'"; }

std::string WithoutQuotes(std::string_view quoted) {
  const char quote = quoted.front();
  std::string text;
  for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
    text += quoted[i];
    if (quoted[i] == quote) ++i;
  }
  return text;
}

std::string ColumnName(const Token& token) {
  return token.kind == TokenKind::kQuoted ? WithoutQuotes(token.text) : std::string(token.text);
}

std::string WrittenName(const std::string& column) {
  try {
    const std::vector<Token> tokens = Tokenizer(column).Run();
    const Token& first = tokens.front();
    const bool isBare = first.kind == TokenKind::kName && first.text == column && column != ".";
    if (isBare && !IsSqlWord(column)) return column;
  } catch (const FormulaError&) {
    // Its characters need the quotes.
  }
  return InBackQuotes(column);
}

std::string WrittenName(const FoundColumn& column) {
  return WrittenName(column.written.empty() ? column.name : column.written);
}

std::string LabelOf(const Token& token) {
  const bool isOtherwise = token.kind == TokenKind::kQuoted && token.text.front() != '`';
  return isOtherwise ? InBackQuotes(ColumnName(token)) : std::string(token.text);
}

std::string DoubleQuotesText(const Token& token) {
  std::string inside = Printable(WithoutQuotes(token.text));
  CutText(inside, kLongestShown);
  return "A formula has no double quotes; write " + QuoteText(inside) + " for a text, " +
         InBackQuotes(inside) + " for a column.";
}

std::vector<Token> Tokenizer::Run() {
  CheckText();
  std::vector<Token> tokens;
  for (SkipBlanks(); position_ < text_.size(); SkipBlanks()) tokens.push_back(Next());
  tokens.push_back(Make(TokenKind::kEnd, text_.size()));
  return tokens;
}

void Tokenizer::CheckText() const {
  for (std::size_t at = 0; at < text_.size();) {
    const CodePoint point = DecodeUtf8(text_, at);
    const Place place{at, at + point.length};
    if (!point.valid) {
      throw FormulaError::At(text_, place, "The formula is not valid UTF-8 here; retype the name.");
    }
    // A zero byte would end the SQL text early.
    if (point.value == 0) {
      throw FormulaError::At(text_, place, "The formula holds a zero byte; take it out.");
    }
    at += point.length;
  }
}

void Tokenizer::SkipBlanks() {
  const std::size_t next = text_.find_first_not_of(" \t\n\r\v\f", position_);
  position_ = next == std::string_view::npos ? text_.size() : next;
}

Token Tokenizer::Next() {
  const char c = text_[position_];
  if (c == '`') return BackQuoted();
  if (c == '\'') return String();
  if (c == '"') return DoubleQuoted();
  if (IsDigit(c) || (c == '.' && IsDigit(CharAt(position_ + 1)))) return Number();
  if (IsNameChar(DecodeUtf8(text_, position_).value)) return Name();
  return Operator();
}

Token Tokenizer::Make(TokenKind kind, std::size_t end) {
  const Place place{position_, end};
  position_ = end;
  return {kind, text_.substr(place.begin, place.end - place.begin), place};
}

std::size_t Tokenizer::NameEnd(std::size_t from) const {
  while (from < text_.size()) {
    const CodePoint point = DecodeUtf8(text_, from);
    if (!IsNameChar(point.value)) break;
    from += point.length;
  }
  return from;
}

Token Tokenizer::Name() { return Make(TokenKind::kName, NameEnd(position_)); }

Token Tokenizer::Number() {
  std::size_t end = position_;
  while (IsDigit(CharAt(end))) ++end;
  if (CharAt(end) == '.') ++end;
  while (IsDigit(CharAt(end))) ++end;
  if (CharAt(end) == 'e' || CharAt(end) == 'E') {
    const std::size_t sign = CharAt(end + 1) == '+' || CharAt(end + 1) == '-' ? 1 : 0;
    if (IsDigit(CharAt(end + 1 + sign))) end += 1 + sign;
    while (IsDigit(CharAt(end))) ++end;
  }
  const std::size_t nameEnd = NameEnd(end);
  if (nameEnd > end) {
    throw FormulaError::At(text_, {position_, nameEnd},
                           "A name cannot start with a digit; put it in back-quotes: `" +
                               std::string(text_.substr(position_, nameEnd - position_)) + "`.");
  }
  return Make(TokenKind::kNumber, end);
}

std::size_t Tokenizer::AfterClosingQuote() const {
  const char quote = text_[position_];
  for (std::size_t at = position_ + 1; at < text_.size(); ++at) {
    if (text_[at] != quote) continue;
    if (CharAt(at + 1) != quote) return at + 1;
    ++at;
  }
  return std::string_view::npos;
}

Token Tokenizer::BackQuoted() {
  const std::size_t end = AfterClosingQuote();
  if (end == std::string_view::npos) {
    throw FormulaError::At(text_, {position_, text_.size()},
                           "This back-quote is not closed; end the name with another one.");
  }
  if (end == position_ + 2) {
    throw FormulaError::At(text_, {position_, end},
                           "The name between these back-quotes is empty; write a column's name.");
  }
  return Make(TokenKind::kQuoted, end);
}

Token Tokenizer::String() {
  const std::size_t end = AfterClosingQuote();
  if (end == std::string_view::npos) {
    throw FormulaError::At(text_, {position_, text_.size()},
                           "This quote is not closed; end the text with another one.");
  }
  return Make(TokenKind::kString, end);
}

Token Tokenizer::DoubleQuoted() {
  const std::size_t end = AfterClosingQuote();
  if (end == std::string_view::npos) {
    throw FormulaError::At(text_, {position_, position_ + 1},
                           "A formula has no double quotes; put a name in back-quotes and a text "
                           "in single quotes.");
  }
  return Make(TokenKind::kDoubleQuoted, end);
}

void Tokenizer::RefuseTableName() const {
  const std::size_t end = NameEnd(position_ + 1);
  if (text_[position_] != '$' || end == position_ + 1 || IsDigit(text_[position_ + 1])) return;
  throw FormulaError::At(text_, {position_, position_ + 1},
                         "A column is named here without its table: write " +
                             std::string(text_.substr(position_ + 1, end - position_ - 1)) + ".");
}

Token Tokenizer::Operator() {
  const std::string_view rest = text_.substr(position_);
  for (const ForeignOperator& foreign : kForeignOperators) {
    if (!rest.starts_with(foreign.written)) continue;
    throw FormulaError::At(text_, {position_, position_ + foreign.written.size()},
                           std::string(foreign.reason));
  }
  for (const std::string_view op : kOperators) {
    if (rest.substr(0, op.size()) == op) return Make(TokenKind::kOperator, position_ + op.size());
  }
  RefuseTableName();
  const CodePoint point = DecodeUtf8(text_, position_);
  const Place place{position_, position_ + point.length};
  const auto* const found = std::ranges::find_if(
      kLookAlikes, [&](const LookAlike& like) { return like.value == point.value; });
  if (found != kLookAlikes.end()) {
    throw FormulaError::At(text_, place,
                           CharacterName(rest.substr(0, point.length), point.value) +
                               " has no meaning in a formula; write " + std::string(found->plain) +
                               ", or put a name that holds it in back-quotes.");
  }
  throw FormulaError::At(text_, place,
                         CharacterName(rest.substr(0, point.length), point.value) +
                             " has no meaning in a formula; put a name that holds it in "
                             "back-quotes.");
}

TokenStream::TokenStream(std::string_view text, ColumnLookup lookup)
    : text_(text), lookup_(std::move(lookup)), tokens_(Tokenizer(text).Run()) {
  JoinNames();
  PairParentheses();
}

void TokenStream::JoinNames() {
  for (std::size_t i = 0; i + 3 < tokens_.size(); ++i) {
    const Token& name = tokens_[i + 2];
    const bool isName = tokens_[i].kind == TokenKind::kName && tokens_[i].text == "Q" &&
                        tokens_[i + 1].Is("(") && name.IsText() && tokens_[i + 3].Is(")");
    if (!isName) continue;
    const Place place = PlaceOf(i, i + 3);
    if (name.text.size() == 2) {
      throw Error(place, "The name between these quotes is empty; write a column's name.");
    }
    tokens_[i] = {TokenKind::kQuoted, name.text, place};
    const auto next = tokens_.begin() + static_cast<std::ptrdiff_t>(i) + 1;
    tokens_.erase(next, next + 3);
  }
}

void TokenStream::CheckDoubleQuotes(std::size_t index, const std::vector<std::size_t>& open) const {
  constexpr std::array<std::string_view, 2> kTakers = {"Treatment", "relevel"};
  const bool isTaken =
      !open.empty() && open.back() > 0 && std::ranges::any_of(kTakers, [&](std::string_view name) {
        return SameWord(tokens_[open.back() - 1].text, name);
      });
  if (isTaken) return;
  const Token& text = tokens_[index];
  constexpr std::array<std::string_view, 4> kEqual = {"=", "==", "!=", "<>"};
  const bool isCompared = index > 1 && tokens_[index - 2].kind == TokenKind::kName &&
                          std::ranges::find(kEqual, tokens_[index - 1].text) != kEqual.end();
  if (!isCompared) throw Error(text.place, DoubleQuotesText(text));
  std::string inside = Printable(WithoutQuotes(text.text));
  CutText(inside, kLongestShown);
  throw Error(text.place, "A text stands in single quotes here; write " +
                              std::string(tokens_[index - 2].text) + " " +
                              std::string(tokens_[index - 1].text) + " " + QuoteText(inside) + ".");
}

void TokenStream::RefuseWholeCall(std::size_t open) const {
  constexpr auto kFits = std::to_array<std::string_view>({"lm", "glm", "ols", "logit", "multinom",
                                                          "mnlogit", "aov", "formula", "smf.ols",
                                                          "smf.logit", "smf.glm", "smf.mnlogit"});
  if (open != 1) return;
  const Token& name = tokens_.front();
  const auto isName = [&](std::string_view fit) { return SameWord(name.text, fit); };
  if (std::ranges::none_of(kFits, isName)) return;
  throw Error(PlaceOf(0, open), "Write the formula alone, such as y ~ x, without " +
                                    std::string(name.text) + "(...) around it.");
}

void TokenStream::PairParentheses() {
  partners_.resize(tokens_.size());
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    const Token& token = tokens_[i];
    if (token.Is("(")) {
      open.push_back(i);
      if (open.size() > kMaxDepth) {
        throw Error(token.place, "More than " + std::to_string(kMaxDepth) +
                                     " parentheses stand inside each other; write it flatter.");
      }
    } else if (token.Is(")")) {
      if (open.empty()) throw Error(token.place, "This ')' closes nothing; take it out.");
      partners_[open.back()] = i;
      open.pop_back();
    } else if (token.kind == TokenKind::kDoubleQuoted) {
      CheckDoubleQuotes(i, open);
    } else if (token.Is("~") && !open.empty()) {
      const Token& before = tokens_[i - 1];
      if (before.kind == TokenKind::kOperator && !before.Is(")")) {
        throw Error(token.place, "Write 'not' for '~'.");
      }
      RefuseWholeCall(open.front());
      throw Error(tokens_[open.back()].place,
                  "This '(' is not closed before the '~'; add the ')'.");
    }
  }
  if (!open.empty()) {
    throw Error(tokens_[open.back()].place, "This '(' is not closed; add the ')'.");
  }
}

Place TokenStream::PlaceOf(std::size_t first, std::size_t last) const {
  return Span(tokens_[first].place, tokens_[last].place);
}

bool TokenStream::IsCall(std::size_t index) const {
  const Token& token = tokens_[index];
  return token.kind == TokenKind::kName && !IsSqlWord(token.text) && tokens_[index + 1].Is("(");
}

ColumnUse TokenStream::ColumnAt(std::size_t index) const {
  const Token& token = tokens_[index];
  if (token.kind == TokenKind::kName && token.text == ".") {
    throw Error(token.place,
                "'.' stands for the other columns among the terms alone; name the columns here.");
  }
  std::string name = ColumnName(token);
  FoundColumn found = lookup_ ? lookup_(name, token.place)
                              : FoundColumn{name, QuoteName(name), ValueKind::kUnknown};
  return {std::move(name), token.place, std::move(found)};
}

bool TokenStream::Accept(std::string_view op) {
  if (!Peek().Is(op)) return false;
  ++position_;
  return true;
}

}  // namespace qvhost

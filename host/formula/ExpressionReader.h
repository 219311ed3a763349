#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/formula/SpacedText.h"
#include "host/formula/TokenStream.h"
#include "host/formula/Variable.h"

namespace qvhost {

/// A stretch [first, last) of a token stream.
struct TokenRange {
  std::size_t first = 0;
  std::size_t last = 0;

  [[nodiscard]] std::size_t Size() const noexcept { return last - first; }
};

/// Reads one expression that DuckDB is to evaluate: tells columns from functions, types and words
/// of SQL, and writes it out for people and for DuckDB. What it means is left to DuckDB. Used for
/// one expression, then thrown away.
class ExpressionReader {
 public:
  /// `tokens` must live longer.
  ExpressionReader(const TokenStream& tokens, TokenRange range) : tokens_(tokens), range_(range) {}

  /// The variable with its label, SQL and columns as the range has them and the range as its place.
  /// Throws FormulaError: nothing there, no column in it, C() inside a call, a `.`.
  [[nodiscard]] Variable Read();

 private:
  /// Where the words that come next belong to a type, as after `::`.
  enum class TypeState { kNone, kExpected, kInside };

  void ReadToken(std::size_t index);
  void ReadName(std::size_t index);
  void ReadOperator(std::size_t index);
  void ReadColumn(std::size_t index);
  /// The `(...)` of a type, as in DECIMAL(10, 2). Returns false when this is none.
  bool ReadTypeArguments(std::size_t open);
  void Append(PieceKind kind, std::string_view text);
  [[nodiscard]] PieceKind OperatorKind(const Token& token) const;

  const TokenStream& tokens_;
  TokenRange range_;
  std::size_t next_ = 0;
  TypeState type_ = TypeState::kNone;
  SpacedText label_{SpacedText::Style::kReadable};
  SpacedText sql_{SpacedText::Style::kSafe};
  std::vector<ColumnUse> columns_;
};

}  // namespace qvhost

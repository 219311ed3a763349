#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/formula/SpacedText.h"
#include "host/formula/TokenStream.h"

namespace qvhost {

/// A stretch [first, last) of a token stream.
struct TokenRange {
  std::size_t first = 0;
  std::size_t last = 0;

  [[nodiscard]] std::size_t Size() const noexcept { return last - first; }
};

/// Walks over the tokens of one expression, writes its label on the way, and knows how to refuse
/// the token it is at. The base of ExpressionReader.
class ExpressionCursor {
 public:
  ExpressionCursor(const ExpressionCursor&) = delete;
  ExpressionCursor& operator=(const ExpressionCursor&) = delete;

 protected:
  /// How deep operators and calls may stand inside each other; DuckDB has a limit of its own.
  static constexpr std::size_t kMaxLevels = 200;

  /// Counts a level of recursion while it lives.
  class Level {
   public:
    explicit Level(std::size_t& level) : level_(level) { ++level_; }
    ~Level() { --level_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

   private:
    std::size_t& level_;
  };

  /// `tokens` must live longer.
  ExpressionCursor(const TokenStream& tokens, TokenRange range)
      : tokens_(tokens), range_(range), next_(range.first) {}
  ~ExpressionCursor() = default;

  [[nodiscard]] const TokenStream& Tokens() const noexcept { return tokens_; }
  [[nodiscard]] TokenRange Range() const noexcept { return range_; }
  /// The index of the current token.
  [[nodiscard]] std::size_t Next() const noexcept { return next_; }
  [[nodiscard]] const Token& Current() const { return tokens_.At(next_); }
  /// What the expression says so far, with blanks in their usual places.
  [[nodiscard]] const std::string& Label() const noexcept { return label_.Text(); }
  /// The place from a token to the one before the current token.
  [[nodiscard]] Place From(std::size_t first) const { return tokens_.PlaceOf(first, next_ - 1); }

  [[nodiscard]] bool AtEnd() const noexcept { return next_ >= range_.last; }
  [[nodiscard]] bool At(std::string_view op) const;
  [[nodiscard]] bool AtWord(std::string_view lower) const;
  [[nodiscard]] bool AtWord(std::size_t index, std::string_view lower) const;
  /// Steps over the current token and puts it into the label.
  void Take(PieceKind kind);
  bool Accept(std::string_view op, PieceKind kind);
  bool AcceptWord(std::string_view lower);
  void ExpectWord(std::string_view lower, std::string_view example);

  /// Throws when the recursion is too deep.
  [[nodiscard]] Level Enter();
  /// Throws when operators and calls stand too deep inside each other.
  void CheckLevels(std::size_t levels, Place place) const;

  /// Says why the current token does not belong here, behind an operand.
  [[noreturn]] void RefuseToken() const;
  /// The same where an operand must stand.
  [[noreturn]] void RefuseAsOperand() const;
  [[noreturn]] void Refuse(Place place, const std::string& message) const {
    throw tokens_.Error(place, message);
  }

 private:
  [[noreturn]] void RefuseDepth(Place place) const;

  const TokenStream& tokens_;
  TokenRange range_;
  std::size_t next_;
  std::size_t level_ = 0;
  SpacedText label_;
};

}  // namespace qvhost

#pragma once

#include <string>
#include <string_view>

#include "host/Error.h"

namespace qvhost {

/// DuckDB refused a query, or failed while it ran: bad input, in DuckDB's own words made short.
class QueryError : public Error {
 public:
  /// `message` is DuckDB's whole text, with its kind in front ("Binder Error: …"). Running out of
  /// memory or disk is a failed run, anything else bad input.
  explicit QueryError(std::string_view message);
  /// The same of what DuckDB's functions for the reason answer: null where it gave none.
  explicit QueryError(const char* message);

  /// Whether a file is not in UTF-8.
  [[nodiscard]] bool IsEncoding() const noexcept { return isEncoding_; }

  /// Whether no form was found that all rows of a text file have.
  [[nodiscard]] bool IsForm() const noexcept { return isForm_; }

  /// Whether a value could not be converted to another type.
  [[nodiscard]] bool IsConversion() const noexcept { return isConversion_; }

 private:
  bool isConversion_;
  bool isEncoding_;
  bool isForm_;
};

/// DuckDB's message without its kind, the quoted statement and its advice for programmers: one or
/// two sentences on one line, ending in a full stop.
[[nodiscard]] std::string ShortMessage(std::string_view message);

/// A delimiter in words, such as "a semicolon".
[[nodiscard]] std::string DelimiterText(char delimiter);

/// What to do with a header that has no name for the names of rows.
inline constexpr const char* kRowNamesHint =
    " If the header is one name shorter than the rows, as R's write.table writes it, write the "
    "data with row.names = FALSE.";

/// Why text files could not be read, and what to do, for a fault of their encoding or form; empty
/// for any other. `delimiter` is the one that the user named, or empty.
[[nodiscard]] std::string UnreadableText(const QueryError& error, const std::string& delimiter);

}  // namespace qvhost

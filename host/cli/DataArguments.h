#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"

namespace qvhost {

/// Throws Error (kBadInput) for an option of `qvreg fit` with a value that it cannot have; refers
/// to the help.
[[noreturn]] void RefuseUsage(const std::string& message);

/// The options that name the data, say how they are to be read, and which rows of them are used.
/// Borrows what it writes into; lives as long as the command line's reader.
class DataArguments {
 public:
  /// Of `command`; they write into `options`.
  DataArguments(CLI::App& command, FitOptions& options) : command_(command), options_(options) {}
  DataArguments(const DataArguments&) = delete;
  DataArguments& operator=(const DataArguments&) = delete;

  /// Adds the options to the command. To be called once.
  void Add();

  /// After reading: settles what the reader could not write itself. Throws Error (kBadInput).
  void Take();

 private:
  void AddForm();
  void AddNumbers();
  CLI::Option* AddText(const std::string& name, std::string& text, const std::string& help);
  void TakeForm();
  void TakeNumbers();

  CLI::App& command_;
  FitOptions& options_;
  std::vector<std::string> data_;
  std::string format_;
  std::string encoding_;
  std::string delimiter_;
  std::string header_;
  std::string decimal_;
  std::string thousands_;
  std::vector<std::string> types_;
};

/// The types that a list such as `zip=varchar,price=decimal(10,2)` gives to columns; a name with a
/// comma or `=` stands in back-quotes. Throws Error (kBadInput) that names the option.
[[nodiscard]] std::vector<ColumnType> ReadTypes(const std::string& list);

}  // namespace qvhost

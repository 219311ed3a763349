#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// An option has a value that it cannot have (kBadInput). Who runs the command adds where help is.
class UsageError : public Error {
 public:
  explicit UsageError(const std::string& message) : Error(ExitCode::kBadInput, message) {}
};

/// Throws UsageError.
[[noreturn]] void RefuseUsage(const std::string& message);

/// The options that name the data, say how they are to be read, and which rows of them are used.
/// Borrows what it writes into; lives as long as the command line's reader.
class DataArguments {
 public:
  /// Of `command`; they write into `source`, and the condition of --where into `where`.
  DataArguments(CLI::App& command, DataSource& source, std::string& where)
      : command_(command), source_(source), where_(where) {}
  DataArguments(const DataArguments&) = delete;
  DataArguments& operator=(const DataArguments&) = delete;

  /// Adds the options to the command. To be called once.
  void Add();
  /// Adds --threads, which is checked with the others, and --spool-dir.
  CLI::Option* AddThreads(int& threads);
  void AddSpoolDir(std::string& folder, const std::string& help);

  /// After reading: settles what the reader could not write itself. Throws UsageError, also where
  /// no data are named.
  void Take();

 private:
  void AddTable();
  void AddMissing();
  void AddForm();
  void AddNumbers();
  void OfferValues();
  CLI::Option* AddText(const std::string& name, std::string& text, const std::string& help);
  void TakeForm();
  void TakeNumbers();

  CLI::App& command_;
  DataSource& source_;
  std::string& where_;
  const int* threads_ = nullptr;  ///< Of --threads; null for none.
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

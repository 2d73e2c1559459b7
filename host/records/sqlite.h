// SPDX-License-Identifier: MIT
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quillmark::host {

/// A call of SQLite that failed; what() is its message, `code` its extended result code.
class SqliteError : public std::runtime_error {
 public:
  SqliteError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}
  [[nodiscard]] int code() const { return code_; }

 private:
  int code_;
};

/// A connection to a database file. All calls raise SqliteError.
class Database {
 public:
  /// `flags` are those of sqlite3_open_v2.
  Database(const std::filesystem::path& file, int flags);

  /// How long a call waits for the lock of another process.
  void SetPatience(std::chrono::milliseconds patience);
  /// Runs statements that have no result.
  void Execute(const char* sql);
  /// The first number of the first row.
  [[nodiscard]] std::int64_t NumberOf(std::string_view sql);
  [[nodiscard]] std::string TextOf(std::string_view sql);

  [[nodiscard]] sqlite3* handle() const { return handle_.get(); }
  /// Raises SqliteError unless `code` is one of success.
  void Check(int code) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  std::unique_ptr<sqlite3, Close> handle_;
};

/// A statement with parameters, which are counted from 1; columns are counted from 0.
class Statement {
 public:
  Statement(const Database& database, std::string_view sql);

  Statement& Bind(int parameter, std::string_view text);
  Statement& Bind(int parameter, std::int64_t number);
  /// Goes to the next row; false after the last one.
  bool Step();
  [[nodiscard]] std::int64_t Number(int column) const;
  [[nodiscard]] std::string Text(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };
  const Database& database_;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

/// A transaction that may write. It is rolled back unless it is committed.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  Transaction(Transaction&&) = delete;
  Transaction& operator=(Transaction&&) = delete;
  ~Transaction();

  void Commit();

 private:
  Database& database_;
};

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "host/records/sqlite.h"

#include <new>

namespace quillmark::host {

Database::Database(const std::filesystem::path& file, int flags) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (handle == nullptr) {
    throw std::bad_alloc();
  }
  Check(code);
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the connection.
void Database::SetPatience(std::chrono::milliseconds patience) {
  Check(sqlite3_busy_timeout(handle(), static_cast<int>(patience.count())));
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the file.
void Database::Execute(const char* sql) {
  Check(sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr));
}

std::int64_t Database::NumberOf(std::string_view sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.Number(0) : 0;
}

std::string Database::TextOf(std::string_view sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.Text(0) : "";
}

void Database::Check(int code) const {
  if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
    throw SqliteError(code, sqlite3_errmsg(handle()));
  }
}

Statement::Statement(const Database& database, std::string_view sql) : database_(database) {
  sqlite3_stmt* handle = nullptr;
  database.Check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()),
                                    &handle, nullptr));
  handle_.reset(handle);
}

Statement& Statement::Bind(int parameter, std::string_view text) {
  // A null pointer would be a null, which is no text.
  const char* const data = text.empty() ? "" : text.data();
  database_.Check(sqlite3_bind_text64(handle_.get(), parameter, data, text.size(), SQLITE_TRANSIENT,
                                      SQLITE_UTF8));
  return *this;
}

Statement& Statement::Bind(int parameter, std::int64_t number) {
  database_.Check(sqlite3_bind_int64(handle_.get(), parameter, number));
  return *this;
}

bool Statement::Step() {
  const int code = sqlite3_step(handle_.get());
  database_.Check(code);
  return code == SQLITE_ROW;
}

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(handle_.get(), column);
}

std::string Statement::Text(int column) const {
  const auto* const text =
      reinterpret_cast<const char*>(sqlite3_column_text(handle_.get(), column));
  const int size = sqlite3_column_bytes(handle_.get(), column);
  return text == nullptr ? "" : std::string(text, static_cast<std::size_t>(size));
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (sqlite3_get_autocommit(database_.handle()) == 0) {
    sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::Commit() { database_.Execute("COMMIT"); }

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillmark::host {

/// A statement or a connection that failed. what() is the server's or the library's message, on one
/// line; it may be a stranger's text.
class PostgresqlError : public std::runtime_error {
 public:
  /// `state`: the five characters of SQLSTATE; empty where the server has not answered.
  PostgresqlError(const std::string& message, std::string state)
      : std::runtime_error(message), state_(std::move(state)) {}

  /// Whether it is these values that the server refuses, and not all others as well.
  [[nodiscard]] bool is_of_values() const {
    return state_.starts_with("22") || state_.starts_with("23");
  }
  [[nodiscard]] const std::string& state() const { return state_; }

 private:
  std::string state_;
};

/// What it takes to talk to PostgreSQL, loaded while the program runs; never unloaded. Raises
/// RecordsError where it is not installed.
void LoadPostgresql();

/// A connection to a PostgreSQL server. Nothing waits longer for the server than it may; only
/// looking up the name of a host takes as long as the system has it. All calls raise
/// PostgresqlError; after one of a server that did not answer, every further call does.
class PostgresqlConnection {
 public:
  using Rows = std::vector<std::vector<std::string>>;

  /// Connects; `patience` is for this and for each statement.
  PostgresqlConnection(const std::string& url, std::chrono::milliseconds patience);
  PostgresqlConnection(const PostgresqlConnection&) = delete;
  PostgresqlConnection& operator=(const PostgresqlConnection&) = delete;
  PostgresqlConnection(PostgresqlConnection&&) = delete;
  PostgresqlConnection& operator=(PostgresqlConnection&&) = delete;
  ~PostgresqlConnection();

  /// Runs one statement with the texts as its parameters, which are UTF-8 without null characters.
  /// A null of the result is an empty text.
  Rows Execute(const std::string& sql, const std::vector<std::string>& parameters = {});

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "host/records/postgresql.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <utility>

#include "host/adapters/shared_library.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/records.h"

// The part of libpq's interface that is used here, as its documentation has it. It has been the
// same for every libpq.so.5. The library is not linked: who has no server needs none of it.
extern "C" {
struct pg_conn;
struct pg_result;
using NoticeReceiver = void (*)(void*, const pg_result*);
}

namespace quillmark::host {
namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kLibrary = "libpq.so.5";
constexpr int kSqlState = 'C';

/// ConnStatusType, PostgresPollingStatusType and ExecStatusType.
constexpr int kConnectionBad = 1;
constexpr int kPollingFailed = 0;
constexpr int kPollingReading = 1;
constexpr int kPollingOk = 3;
constexpr int kCommandOk = 1;
constexpr int kTuplesOk = 2;

/// The functions of the library, by their names in it.
class Library {
 public:
  Library() : library_(Load()) {
    Find(connect_start, "PQconnectStartParams");
    Find(connect_poll, "PQconnectPoll");
    Find(status, "PQstatus");
    Find(socket, "PQsocket");
    Find(error_message, "PQerrorMessage");
    Find(finish, "PQfinish");
    Find(set_notice_receiver, "PQsetNoticeReceiver");
    Find(set_nonblocking, "PQsetnonblocking");
    Find(send_query, "PQsendQueryParams");
    Find(flush, "PQflush");
    Find(consume_input, "PQconsumeInput");
    Find(is_busy, "PQisBusy");
    Find(get_result, "PQgetResult");
    Find(result_status, "PQresultStatus");
    Find(result_error_message, "PQresultErrorMessage");
    Find(result_error_field, "PQresultErrorField");
    Find(ntuples, "PQntuples");
    Find(nfields, "PQnfields");
    Find(getvalue, "PQgetvalue");
    Find(getlength, "PQgetlength");
    Find(clear, "PQclear");
  }

  pg_conn* (*connect_start)(const char* const*, const char* const*, int) = nullptr;
  int (*connect_poll)(pg_conn*) = nullptr;
  int (*status)(const pg_conn*) = nullptr;
  int (*socket)(const pg_conn*) = nullptr;
  char* (*error_message)(const pg_conn*) = nullptr;
  void (*finish)(pg_conn*) = nullptr;
  NoticeReceiver (*set_notice_receiver)(pg_conn*, NoticeReceiver, void*) = nullptr;
  int (*set_nonblocking)(pg_conn*, int) = nullptr;
  int (*send_query)(pg_conn*, const char*, int, const unsigned*, const char* const*, const int*,
                    const int*, int) = nullptr;
  int (*flush)(pg_conn*) = nullptr;
  int (*consume_input)(pg_conn*) = nullptr;
  int (*is_busy)(pg_conn*) = nullptr;
  pg_result* (*get_result)(pg_conn*) = nullptr;
  int (*result_status)(const pg_result*) = nullptr;
  char* (*result_error_message)(const pg_result*) = nullptr;
  char* (*result_error_field)(const pg_result*, int) = nullptr;
  int (*ntuples)(const pg_result*) = nullptr;
  int (*nfields)(const pg_result*) = nullptr;
  char* (*getvalue)(const pg_result*, int, int) = nullptr;
  int (*getlength)(const pg_result*, int, int) = nullptr;
  void (*clear)(pg_result*) = nullptr;

 private:
  static std::unique_ptr<SharedLibrary> Load() {
    try {
      return LoadSharedLibrary(kLibrary);
    } catch (const BusError& error) {
      throw RecordsError(fmt::format(
          "expected PostgreSQL's client library, found none: {}; on Debian it is in the "
          "package libpq5",
          error.what()));
    }
  }

  template <typename Function>
  void Find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(library_->Find(name));
    if (function == nullptr) {
      throw RecordsError(fmt::format("{}: expected the function {}, found none", kLibrary, name));
    }
  }

  std::unique_ptr<SharedLibrary> library_;
};

/// It is never unloaded: libraries that it uses run code at the end of the process.
const Library& Postgresql() {
  static const auto* const library = new Library;
  return *library;
}

/// A message of the library on one line.
std::string OneLineOf(std::string text) {
  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::replace(text.begin(), text.end(), '\t', ' ');
  return text.empty() ? "the connection failed without a reason" : text;
}

struct Clear {
  void operator()(pg_result* result) const { Postgresql().clear(result); }
};
using Result = std::unique_ptr<pg_result, Clear>;

PostgresqlConnection::Rows RowsOf(const pg_result* result) {
  const Library& library = Postgresql();
  PostgresqlConnection::Rows rows(static_cast<std::size_t>(library.ntuples(result)));
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (int column = 0; column < library.nfields(result); ++column) {
      const auto number = static_cast<int>(row);
      rows[row].emplace_back(library.getvalue(result, number, column),
                             static_cast<std::size_t>(library.getlength(result, number, column)));
    }
  }
  return rows;
}

}  // namespace

void LoadPostgresql() { static_cast<void>(Postgresql()); }

class PostgresqlConnection::Implementation {
 public:
  Implementation(const std::string& url, milliseconds patience) : patience_(patience) {
    // What stands before the URL is replaced by what the URL says, what comes after it is not.
    const std::vector<const char*> names{"fallback_application_name", "dbname", "client_encoding",
                                         nullptr};
    const std::vector<const char*> values{"quillmark", url.c_str(), "UTF8", nullptr};
    constexpr int kExpandUrl = 1;
    connection_.reset(Postgresql().connect_start(names.data(), values.data(), kExpandUrl));
    const SteadyClock::time_point deadline = SteadyClock::now() + patience_;
    // The library asks for it: before the first poll it is as if that had wanted to write.
    short awaited = POLLOUT;
    for (int step = kPollingFailed; step != kPollingOk;) {
      RequireConnection();
      Await(awaited, deadline);
      step = Postgresql().connect_poll(connection_.get());
      if (step == kPollingFailed) {
        RaiseBroken();
      }
      awaited = step == kPollingReading ? POLLIN : POLLOUT;
    }
    Postgresql().set_notice_receiver(
        connection_.get(), [](void*, const pg_result*) {}, nullptr);
    if (Postgresql().set_nonblocking(connection_.get(), 1) != 0) {
      RaiseBroken();
    }
  }

  Rows Execute(const std::string& sql, const std::vector<std::string>& parameters) {
    RequireConnection();
    std::vector<const char*> values;
    std::transform(parameters.begin(), parameters.end(), std::back_inserter(values),
                   [](const std::string& text) { return text.c_str(); });
    if (Postgresql().send_query(connection_.get(), sql.c_str(), static_cast<int>(values.size()),
                                nullptr, values.data(), nullptr, nullptr, 0) == 0) {
      RaiseBroken();
    }
    const SteadyClock::time_point deadline = SteadyClock::now() + patience_;
    Rows rows;
    std::optional<PostgresqlError> error;
    while (const Result result = NextResult(deadline)) {
      const int status = Postgresql().result_status(result.get());
      if (status == kTuplesOk) {
        rows = RowsOf(result.get());
      } else if (status != kCommandOk && !error) {
        const char* const state = Postgresql().result_error_field(result.get(), kSqlState);
        error.emplace(OneLineOf(Postgresql().result_error_message(result.get())),
                      state == nullptr ? "" : state);
      }
    }
    if (error) {
      throw PostgresqlError(*error);
    }
    return rows;
  }

 private:
  struct Finish {
    void operator()(pg_conn* connection) const { Postgresql().finish(connection); }
  };

  /// The next result of the statement; null after the last one.
  Result NextResult(SteadyClock::time_point deadline) {
    for (;;) {
      const int left = Postgresql().flush(connection_.get());
      if (left < 0) {
        RaiseBroken();
      }
      if (left == 0 && Postgresql().is_busy(connection_.get()) == 0) {
        return Result(Postgresql().get_result(connection_.get()));
      }
      Await(left > 0 ? POLLIN | POLLOUT : POLLIN, deadline);
      if (Postgresql().consume_input(connection_.get()) == 0) {
        RaiseBroken();
      }
    }
  }

  /// After it the connection is gone: an answer that comes later would be taken for another one.
  void Await(int events, SteadyClock::time_point deadline) {
    for (;;) {
      const auto left =
          std::chrono::duration_cast<milliseconds>(deadline - SteadyClock::now()).count();
      pollfd ready{Postgresql().socket(connection_.get()), static_cast<short>(events), 0};
      const int count = left <= 0 ? 0 : ::poll(&ready, 1, static_cast<int>(left));
      if (count > 0) {
        return;
      }
      if (count == 0 || errno != EINTR) {
        connection_.reset();
        throw PostgresqlError(fmt::format("no answer within {} ms", patience_.count()), "");
      }
    }
  }

  void RequireConnection() const {
    if (!connection_) {
      throw PostgresqlError("the connection is closed", "");
    }
    if (Postgresql().status(connection_.get()) == kConnectionBad) {
      throw PostgresqlError(OneLineOf(Postgresql().error_message(connection_.get())), "");
    }
  }

  [[noreturn]] void RaiseBroken() {
    const std::string message = OneLineOf(Postgresql().error_message(connection_.get()));
    connection_.reset();
    throw PostgresqlError(message, "");
  }

  milliseconds patience_;
  std::unique_ptr<pg_conn, Finish> connection_;
};

PostgresqlConnection::PostgresqlConnection(const std::string& url, milliseconds patience)
    : implementation_(std::make_unique<Implementation>(url, patience)) {}

PostgresqlConnection::~PostgresqlConnection() = default;

PostgresqlConnection::Rows PostgresqlConnection::Execute(
    const std::string& sql, const std::vector<std::string>& parameters) {
  return implementation_->Execute(sql, parameters);
}

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "quillmark/host/records.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <random>
#include <system_error>
#include <utility>

#include "host/records/postgresql.h"
#include "host/records/sqlite.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Clock = std::chrono::system_clock;
using std::chrono::milliseconds;

/// In the header of the file: "QMRK".
constexpr std::int64_t kApplication = 0x514D524B;

/// What makes the schema of version N + 1 from that of version N. What was released stays as it is.
constexpr std::array kMigrations{
    R"(CREATE TABLE runs (
         number INTEGER PRIMARY KEY,
         id TEXT NOT NULL UNIQUE CHECK (length(id) = 32),
         started INTEGER NOT NULL,
         command TEXT NOT NULL,
         bay TEXT NOT NULL,
         bus TEXT NOT NULL,
         ecu TEXT NOT NULL,
         images TEXT NOT NULL,
         image_sha256 TEXT NOT NULL,
         settings TEXT NOT NULL,
         phases TEXT NOT NULL,
         outcome TEXT NOT NULL CHECK (outcome IN ('unfinished', 'done', 'failed', 'cancelled')),
         message TEXT NOT NULL,
         microseconds INTEGER NOT NULL,
         version TEXT NOT NULL,
         artifacts TEXT NOT NULL
       ) STRICT;
       CREATE INDEX runs_by_start ON runs (started);
       PRAGMA application_id = 0x514D524B;)",
    // `writes` counts how often a run was written. `forwarded` is the count that a server has, 0
    // for none, and null for a run that stays here.
    R"(ALTER TABLE runs ADD COLUMN station TEXT NOT NULL DEFAULT '';
       ALTER TABLE runs ADD COLUMN writes INTEGER NOT NULL DEFAULT 1;
       ALTER TABLE runs ADD COLUMN forwarded INTEGER;
       CREATE INDEX runs_to_forward ON runs (number) WHERE forwarded < writes;)",
};
constexpr auto kVersion = static_cast<std::int64_t>(kMigrations.size());

/// What a run has, in the order of `RunOf`.
constexpr std::string_view kColumns =
    "id, started, command, station, bay, bus, ecu, images, image_sha256, settings, phases, outcome,"
    " message, microseconds, version, artifacts";
constexpr int kColumnCount = 16;

const std::string kWrite = fmt::format(
    "INSERT INTO runs ({}, forwarded)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16,"
    " CASE WHEN ?17 THEN 0 END)"
    " ON CONFLICT (id) DO UPDATE SET started = ?2, command = ?3, station = ?4, bay = ?5, bus = ?6,"
    " ecu = ?7, images = ?8, image_sha256 = ?9, settings = ?10, phases = ?11, outcome = ?12,"
    " message = ?13, microseconds = ?14, version = ?15, artifacts = ?16, writes = writes + 1,"
    " forwarded = coalesce(forwarded, excluded.forwarded)",
    kColumns);

const std::string kFind = fmt::format(
    "SELECT {} FROM runs WHERE instr(lower(ecu), lower(?1))"
    " AND (instr(lower(images), lower(?2)) OR instr(image_sha256, lower(?2)))"
    " AND (?3 = '' OR outcome = ?3) AND started >= ?4 AND started < ?5"
    " AND instr(lower(id || char(10) || command || char(10) || station || char(10) || bay ||"
    " char(10) || bus || char(10) || ecu || char(10) || images || char(10) || image_sha256 ||"
    " char(10) || settings || char(10) || outcome || char(10) || message || char(10) || version ||"
    " char(10) || artifacts), lower(?6)) AND instr(lower(station), lower(?8))"
    " ORDER BY started DESC, number DESC LIMIT ?7",
    kColumns);

/// The next runs after a number that the server does not have as they are.
const std::string kFindToForward = fmt::format(
    "SELECT {}, writes, number FROM runs WHERE forwarded < writes AND number > ?1"
    " ORDER BY number LIMIT ?2",
    kColumns);

constexpr std::string_view kNoteForwarded =
    "UPDATE runs SET forwarded = ?2 WHERE id = ?1 AND forwarded < ?2";

std::string TextOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string TextOf(const std::vector<PhaseTimes>& phases) {
  Json list = Json::array();
  for (const PhaseTimes& phase : phases) {
    list.push_back(
        {{"phase", phase.name}, {"began", phase.began.count()}, {"ended", phase.ended.count()}});
  }
  return TextOf(list);
}

std::vector<PhaseTimes> PhasesOf(const std::string& text) {
  std::vector<PhaseTimes> phases;
  for (const Json& phase : Json::parse(text)) {
    phases.push_back({.name = phase.at("phase"),
                      .began = Duration(phase.at("began").get<std::int64_t>()),
                      .ended = Duration(phase.at("ended").get<std::int64_t>())});
  }
  return phases;
}

std::int64_t ToNumber(Clock::time_point time) {
  return std::chrono::floor<milliseconds>(time.time_since_epoch()).count();
}

OutcomeState OutcomeOf(const std::string& name) {
  for (const OutcomeState outcome :
       {OutcomeState::kDone, OutcomeState::kFailed, OutcomeState::kCancelled}) {
    if (NameOf(outcome) == name) {
      return outcome;
    }
  }
  return OutcomeState::kUnfinished;
}

/// Of the columns of a row, as text.
RunRecord RunOf(const std::vector<std::string>& row) {
  return {.id = row[0],
          .started = Clock::time_point(milliseconds(std::stoll(row[1]))),
          .command = row[2],
          .station = row[3],
          .bay = row[4],
          .bus = row[5],
          .ecu = row[6],
          .images = Json::parse(row[7]).get<std::vector<std::string>>(),
          .image_sha256 = row[8],
          .settings = Json::parse(row[9]).get<std::vector<std::string>>(),
          .phases = PhasesOf(row[10]),
          .outcome = OutcomeOf(row[11]),
          .message = row[12],
          .time = Duration(std::stoll(row[13])),
          .version = row[14],
          .artifacts = row[15]};
}

std::vector<std::string> TextsOf(const Statement& row, int columns) {
  std::vector<std::string> texts;
  texts.reserve(static_cast<std::size_t>(columns));
  for (int column = 0; column < columns; ++column) {
    texts.push_back(row.Text(column));
  }
  return texts;
}

/// Lets one process at a time look at a folder and rename what is in it. The lock ends with its
/// process, and leaves no file behind.
class FolderLock {
 public:
  explicit FolderLock(const fs::path& folder)
      : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (descriptor_ >= 0 && ::flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  FolderLock(FolderLock&&) = delete;
  FolderLock& operator=(FolderLock&&) = delete;
  ~FolderLock() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }

 private:
  int descriptor_;
};

/// A name beside the file that nothing has yet.
fs::path FreeNameBeside(const fs::path& file) {
  const std::string date =
      fmt::format("{:%Y-%m-%dT%H%M%SZ}", fmt::gmtime(Clock::to_time_t(Clock::now())));
  fs::path name = fmt::format("{}.damaged-{}", file.string(), date);
  for (int count = 2; fs::exists(fs::symlink_status(name)); ++count) {
    name = fmt::format("{}.damaged-{}-{}", file.string(), date, count);
  }
  return name;
}

bool SaysDamaged(const SqliteError& error) {
  constexpr int kPrimaryCode = 0xFF;
  const int code = error.code() & kPrimaryCode;
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

/// A run that a server does not take, though it takes others.
class RefusedRun : public RecordsError {
 public:
  using RecordsError::RecordsError;
};

constexpr std::string_view kServerVersion = "1";

/// For psql. What was released stays as it is: a later version adds its step behind the last one.
/// The key has the start, which never changes for an id, so that the table can be divided by it.
constexpr std::string_view kServerSchema =
    R"(-- The records of all stations, version 1. Keeps what is there.
BEGIN;
CREATE SCHEMA IF NOT EXISTS quillmark;
CREATE TABLE IF NOT EXISTS quillmark.schema_version (version integer NOT NULL);
LOCK TABLE quillmark.schema_version;
DO $$
DECLARE
  found integer := coalesce((SELECT max(version) FROM quillmark.schema_version), 0);
BEGIN
  IF found > 1 THEN
    RAISE EXCEPTION 'expected records of version 1 or earlier, found %', found;
  END IF;
  IF found < 1 THEN
    CREATE TABLE quillmark.runs (
      id text NOT NULL CHECK (length(id) = 32),
      started timestamptz NOT NULL,
      command text NOT NULL,
      station text NOT NULL,
      bay text NOT NULL,
      bus text NOT NULL,
      ecu text NOT NULL,
      images text NOT NULL,
      image_sha256 text NOT NULL,
      settings text NOT NULL,
      phases text NOT NULL,
      outcome text NOT NULL CHECK (outcome IN ('unfinished', 'done', 'failed', 'cancelled')),
      message text NOT NULL,
      microseconds bigint NOT NULL,
      version text NOT NULL,
      artifacts text NOT NULL,
      writes bigint NOT NULL,
      PRIMARY KEY (id, started)
    )  -- PARTITION BY RANGE (started)
    ;
    CREATE INDEX runs_by_start ON quillmark.runs (started);
  END IF;
  DELETE FROM quillmark.schema_version;
  INSERT INTO quillmark.schema_version VALUES (1);
END
$$;
COMMIT;
)";

constexpr const char* kNoTables =
    "has no tables for records: an administrator makes them with \"quillmark history --schema\"";

/// An update that comes late, with fewer writes, changes nothing.
const std::string kWriteToServer = fmt::format(
    "INSERT INTO quillmark.runs AS known ({}, writes)"
    " VALUES ($1, timestamptz 'epoch' + $2::bigint * interval '1 millisecond', $3, $4, $5, $6, $7,"
    " $8, $9, $10, $11, $12, $13, $14::bigint, $15, $16, $17::bigint)"
    " ON CONFLICT (id, started) DO UPDATE SET command = excluded.command,"
    " station = excluded.station, bay = excluded.bay, bus = excluded.bus, ecu = excluded.ecu,"
    " images = excluded.images, image_sha256 = excluded.image_sha256,"
    " settings = excluded.settings, phases = excluded.phases, outcome = excluded.outcome,"
    " message = excluded.message, microseconds = excluded.microseconds,"
    " version = excluded.version, artifacts = excluded.artifacts, writes = excluded.writes"
    " WHERE known.writes < excluded.writes",
    kColumns);

/// As `kFind`. In the collation "C", letters of ASCII alone have two cases.
constexpr const char* kFindOnServer =
    R"(SELECT id, (extract(epoch FROM started) * 1000)::bigint, command, station, bay, bus, ecu,
         images, image_sha256, settings, phases, outcome, message, microseconds, version, artifacts
       FROM quillmark.runs
       WHERE strpos(lower(ecu COLLATE "C"), lower($1 COLLATE "C")) > 0
         AND (strpos(lower(images COLLATE "C"), lower($2 COLLATE "C")) > 0
              OR strpos(image_sha256 COLLATE "C", lower($2 COLLATE "C")) > 0)
         AND ($3::text = '' OR outcome = $3::text)
         AND started >= coalesce(
           timestamptz 'epoch' + nullif($4, '')::bigint * interval '1 millisecond', '-infinity')
         AND started < coalesce(
           timestamptz 'epoch' + nullif($5, '')::bigint * interval '1 millisecond', 'infinity')
         AND strpos(lower(concat_ws(E'\n', id, command, station, bay, bus, ecu, images,
                                    image_sha256, settings, outcome, message, version, artifacts)
                          COLLATE "C"), lower($6 COLLATE "C")) > 0
         AND strpos(lower(station COLLATE "C"), lower($8 COLLATE "C")) > 0
       ORDER BY started DESC, id LIMIT nullif($7, '')::bigint)";

/// What the server takes as text: UTF-8 without null characters.
std::string ServerTextOf(const std::string& text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string whole = Json::parse(TextOf(Json(text))).get<std::string>();
  for (std::size_t at = 0; (at = whole.find('\0', at)) != std::string::npos;) {
    whole.replace(at, 1, kReplacement);
  }
  return whole;
}

std::string LowerDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    auto byte = static_cast<unsigned char>(text[at]);
    if (byte == '%' && at + 2 < text.size() &&
        std::from_chars(&text[at + 1], &text[at + 1] + 2, byte, 16).ptr == &text[at + 1] + 2) {
      at += 2;
    }
    decoded += static_cast<char>(std::tolower(byte));
  }
  return decoded;
}

/// Rather too often than not: a colon before an @, or a parameter with such a name.
bool HasPassword(std::string_view url) {
  const std::string_view place = url.substr(url.find("://") + 3);
  const std::size_t at = place.rfind('@');
  if (at != std::string_view::npos && place.substr(0, at).find(':') != std::string_view::npos) {
    return true;
  }
  const std::size_t query = place.find('?');
  return query != std::string_view::npos &&
         LowerDecoded(place.substr(query)).find("password") != std::string::npos;
}

}  // namespace

/// The open file. All calls raise RecordsError.
class RunRecords::File {
 public:
  File(fs::path path, Use use) : path_(std::move(path)) {
    Guarded([&] { Open(use); });
  }

  void Write(const RunRecord& run, bool is_for_server, milliseconds patience) {
    Guarded([&] {
      database_->SetPatience(patience);
      Transaction transaction(*database_);
      Statement(*database_, kWrite)
          .Bind(1, run.id)
          .Bind(2, ToNumber(run.started))
          .Bind(3, run.command)
          .Bind(4, run.station)
          .Bind(5, run.bay)
          .Bind(6, run.bus)
          .Bind(7, run.ecu)
          .Bind(8, TextOf(Json(run.images)))
          .Bind(9, run.image_sha256)
          .Bind(10, TextOf(Json(run.settings)))
          .Bind(11, TextOf(run.phases))
          .Bind(12, NameOf(run.outcome))
          .Bind(13, run.message)
          .Bind(14, run.time.count())
          .Bind(15, run.version)
          .Bind(16, run.artifacts.string())
          .Bind(17, is_for_server ? 1 : 0)
          .Step();
      transaction.Commit();
    });
  }

  std::vector<RunRecord> Find(const RunFilter& filter) {
    std::vector<RunRecord> runs;
    Guarded([&] {
      database_->SetPatience(kPatience);
      constexpr std::int64_t kAll = -1;
      Statement rows(*database_, kFind);
      rows.Bind(1, filter.ecu)
          .Bind(2, filter.image)
          .Bind(3, filter.outcome ? NameOf(*filter.outcome) : "")
          .Bind(4, filter.since ? ToNumber(*filter.since) : INT64_MIN)
          .Bind(5, filter.until ? ToNumber(*filter.until) : INT64_MAX)
          .Bind(6, filter.text)
          .Bind(7, filter.most ? static_cast<std::int64_t>(*filter.most) : kAll)
          .Bind(8, filter.station);
      while (rows.Step()) {
        runs.push_back(RunOf(TextsOf(rows, kColumnCount)));
      }
    });
    return runs;
  }

  /// A run that the server does not have as it is.
  struct ToForward {
    /// The columns, and the count of writes.
    std::vector<std::string> texts;
    std::int64_t writes = 0;
    std::int64_t number = 0;
  };

  /// The next ones after this number.
  std::vector<ToForward> FindToForward(std::int64_t after) {
    constexpr std::int64_t kAtOnce = 100;
    std::vector<ToForward> runs;
    Guarded([&] {
      Statement rows(*database_, kFindToForward);
      rows.Bind(1, after).Bind(2, kAtOnce);
      while (rows.Step()) {
        runs.push_back({.texts = TextsOf(rows, kColumnCount + 1),
                        .writes = rows.Number(kColumnCount),
                        .number = rows.Number(kColumnCount + 1)});
      }
    });
    return runs;
  }

  void NoteForwarded(const std::vector<ToForward>& runs) {
    Guarded([&] {
      database_->SetPatience(kPatience);
      // Who reads the records may forward them.
      database_->Execute("PRAGMA query_only = OFF");
      Transaction transaction(*database_);
      for (const ToForward& run : runs) {
        Statement(*database_, kNoteForwarded).Bind(1, run.texts[0]).Bind(2, run.writes).Step();
      }
      transaction.Commit();
    });
  }

 private:
  /// Gives errors the name of the file.
  template <typename Work>
  void Guarded(Work work) const {
    const auto text = [this](std::string_view reason) {
      return fmt::format("{}: {}", path_.string(), reason);
    };
    try {
      work();
    } catch (const SqliteError& error) {
      if (SaysDamaged(error)) {
        throw DamagedRecords(text(fmt::format("is damaged ({})", error.what())));
      }
      if (error.code() == SQLITE_READONLY_DBMOVED) {
        throw DamagedRecords(text("was moved away"));
      }
      throw RecordsError(text(error.what()));
    } catch (const Json::exception& error) {
      throw DamagedRecords(text(fmt::format("has a row that is damaged ({})", error.what())));
    }
  }

  void Open(Use use) {
    const int create = use == Use::kWrite ? SQLITE_OPEN_CREATE : 0;
    database_.emplace(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_EXRESCODE | create);
    database_->SetPatience(kPatience);
    RequireOwn();
    // The disk has a run, and no longer its journal, before the next step of it begins. A journal
    // that is rolled back, and not a write-ahead log, keeps all of the records in one file, also
    // for who copies it, and works where folders are on a network.
    database_->Execute("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA");
    Migrate();
    if (use == Use::kRead) {
      database_->Execute("PRAGMA query_only = ON");
    } else {
      RequireIntact();
    }
  }

  [[nodiscard]] std::int64_t Version() { return database_->NumberOf("PRAGMA user_version"); }

  void RequireOwn() {
    if (database_->NumberOf("SELECT count(*) FROM sqlite_schema") == 0) {
      return;
    }
    if (database_->NumberOf("PRAGMA application_id") != kApplication) {
      throw RecordsError(path_.string() + ": is a database of another program");
    }
    if (Version() > kVersion) {
      throw RecordsError(
          fmt::format("{}: expected records of version {} or earlier, found {}: a later "
                      "Quillmark has written them",
                      path_.string(), kVersion, Version()));
    }
  }

  void Migrate() {
    if (Version() == kVersion) {
      return;
    }
    Transaction transaction(*database_);
    // Another process may have been faster, also one of a later version.
    RequireOwn();
    for (std::int64_t version = Version(); version < kVersion; ++version) {
      database_->Execute(kMigrations.at(static_cast<std::size_t>(version)));
      database_->Execute(fmt::format("PRAGMA user_version = {}", version + 1).c_str());
    }
    transaction.Commit();
  }

  void RequireIntact() {
    const std::string found = database_->TextOf("PRAGMA quick_check(1)");
    if (found != "ok") {
      throw SqliteError(SQLITE_CORRUPT, found);
    }
  }

  fs::path path_;
  std::optional<Database> database_;
};

/// The open connection. All calls raise RecordsError.
class StationRecords::Server {
 public:
  Server(std::string url, milliseconds patience) : url_(std::move(url)), patience_(patience) {}

  /// Takes the columns of a run and its count of writes. Raises RefusedRun if it is this run that
  /// the server does not take.
  void Write(std::vector<std::string> texts) {
    std::transform(texts.begin(), texts.end(), texts.begin(), ServerTextOf);
    Guarded([&] { Connection().Execute(kWriteToServer, texts); });
  }

  std::vector<RunRecord> Find(const RunFilter& filter) {
    const auto bound = [](const std::optional<Clock::time_point>& time) {
      return time ? std::to_string(ToNumber(*time)) : "";
    };
    std::vector<std::string> texts{filter.ecu,
                                   filter.image,
                                   std::string(filter.outcome ? NameOf(*filter.outcome) : ""),
                                   bound(filter.since),
                                   bound(filter.until),
                                   filter.text,
                                   filter.most ? std::to_string(*filter.most) : "",
                                   filter.station};
    std::transform(texts.begin(), texts.end(), texts.begin(), ServerTextOf);
    std::vector<RunRecord> runs;
    Guarded([&] {
      const PostgresqlConnection::Rows rows = Connection().Execute(kFindOnServer, texts);
      std::transform(rows.begin(), rows.end(), std::back_inserter(runs), RunOf);
    });
    return runs;
  }

 private:
  /// Gives errors the name of the server, without what is between its lines.
  template <typename Work>
  void Guarded(Work work) const {
    const auto text = [this](std::string_view reason) {
      return fmt::format("{}: {}", url_.substr(0, url_.find('?')), reason);
    };
    try {
      work();
    } catch (const PostgresqlError& error) {
      if (error.is_of_values()) {
        throw RefusedRun(text(error.what()));
      }
      throw RecordsError(text(LacksTables(error) ? kNoTables : error.what()));
    } catch (const std::logic_error& error) {
      throw RecordsError(text(fmt::format("has a row that is damaged ({})", error.what())));
    } catch (const Json::exception& error) {
      throw RecordsError(text(fmt::format("has a row that is damaged ({})", error.what())));
    }
  }

  static bool LacksTables(const PostgresqlError& error) {
    return error.state() == "42P01" || error.state() == "3F000";
  }

  PostgresqlConnection& Connection() {
    if (!connection_) {
      auto connection = std::make_unique<PostgresqlConnection>(url_, patience_);
      RequireVersion(*connection);
      connection_ = std::move(connection);
    }
    return *connection_;
  }

  void RequireVersion(PostgresqlConnection& connection) const {
    const auto rows = connection.Execute("SELECT max(version) FROM quillmark.schema_version");
    const std::string found = rows.empty() || rows[0].empty() ? "" : rows[0][0];
    if (found != kServerVersion) {
      throw PostgresqlError(
          fmt::format("expected records of version {}, found {}: an administrator brings earlier "
                      "ones up to date with \"quillmark history --schema\"; for later ones, update "
                      "this station",
                      kServerVersion, found.empty() ? "none" : found),
          "");
    }
  }

  std::string url_;
  milliseconds patience_;
  std::unique_ptr<PostgresqlConnection> connection_;
};

bool StationRecords::IsServer(std::string_view text) {
  return text.starts_with("postgresql://") || text.starts_with("postgres://");
}

std::string_view StationRecords::Schema() { return kServerSchema; }

StationRecords::StationRecords(const std::string& url, milliseconds patience) {
  if (!IsServer(url)) {
    throw std::invalid_argument("expected postgresql://HOST/DATABASE, found something else");
  }
  if (HasPassword(url)) {
    throw std::invalid_argument(
        "expected the URL of a server without a password, found one with it, which others may read "
        "off the command line: put the password into ~/.pgpass or PGPASSWORD, and write an @ in "
        "another place as %40");
  }
  LoadPostgresql();
  server_ = std::make_unique<Server>(url, patience);
}

StationRecords::~StationRecords() = default;

std::vector<RunRecord> StationRecords::Find(const RunFilter& filter) {
  return server_->Find(filter);
}

std::string NewRunId() {
  std::random_device random;
  std::string id;
  for (int part = 0; part < 4; ++part) {
    id += fmt::format("{:08x}", random());
  }
  return id;
}

std::string_view NameOf(OutcomeState outcome) {
  switch (outcome) {
    case OutcomeState::kDone:
      return "done";
    case OutcomeState::kFailed:
      return "failed";
    case OutcomeState::kCancelled:
      return "cancelled";
    case OutcomeState::kUnfinished:
      break;
  }
  return "unfinished";
}

RunRecords::RunRecords(const fs::path& file, Use use) {
  std::error_code ignored;
  path_ = fs::weakly_canonical(fs::absolute(file, ignored), ignored);
  if (path_.empty()) {
    path_ = file;
  }
  if (use == Use::kRead) {
    file_ = std::make_unique<File>(path_, use);
    return;
  }
  try {
    CreateFolders(path_.parent_path());
  } catch (const CannotCreateFile& error) {
    throw RecordsError(error.what());
  }
  Open();
}

RunRecords::~RunRecords() = default;

void RunRecords::Open() {
  try {
    file_ = std::make_unique<File>(path_, Use::kWrite);
  } catch (const DamagedRecords&) {
    SetAside();
  }
}

void RunRecords::SetAside() {
  const FolderLock lock(path_.parent_path());
  try {
    // Another process may have been faster.
    file_ = std::make_unique<File>(path_, Use::kWrite);
    return;
  } catch (const DamagedRecords&) {
    const fs::path name = FreeNameBeside(path_);
    const std::string journal = path_.string() + "-journal";
    std::error_code error;
    // The journal goes first: it belongs to the damaged file, and must not be rolled back into
    // another.
    if (fs::exists(journal, error)) {
      fs::rename(journal, name.string() + "-journal", error);
    }
    if (!error) {
      fs::rename(path_, name, error);
    }
    if (error) {
      throw RecordsError(fmt::format("{}: is damaged and cannot be renamed to {}: {}",
                                     path_.string(), name.string(), error.message()));
    }
    set_aside_ = name;
  }
  file_ = std::make_unique<File>(path_, Use::kWrite);
}

void RunRecords::Write(const RunRecord& run, milliseconds patience) {
  try {
    file_->Write(run, is_for_server_, patience);
  } catch (const DamagedRecords&) {
    // It was damaged or moved since it was opened.
    Open();
    file_->Write(run, is_for_server_, patience);
  }
}

std::size_t RunRecords::ForwardTo(StationRecords& server) {
  std::size_t sent = 0;
  std::string refused;
  for (auto runs = file_->FindToForward(0); !runs.empty();) {
    const std::int64_t last = runs.back().number;
    std::vector<File::ToForward> taken;
    std::exception_ptr broken;
    for (File::ToForward& run : runs) {
      try {
        server.server_->Write(run.texts);
        taken.push_back(std::move(run));
      } catch (const RefusedRun& error) {
        refused = error.what();
      } catch (const RecordsError&) {
        broken = std::current_exception();
        break;
      }
    }
    file_->NoteForwarded(taken);
    sent += taken.size();
    if (broken) {
      std::rethrow_exception(broken);
    }
    runs = file_->FindToForward(last);
  }
  if (!refused.empty()) {
    throw RecordsError(refused);
  }
  return sent;
}

std::vector<RunRecord> RunRecords::Find(const RunFilter& filter) const {
  return file_->Find(filter);
}

fs::path UsualRecords() {
  const fs::path state = UserFolder("XDG_STATE_HOME", ".local/state");
  return state.empty() ? state : state / "quillmark" / "records.sqlite";
}

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "quillmark/host/records.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <random>
#include <system_error>
#include <utility>

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

constexpr std::string_view kWrite =
    "INSERT INTO runs (id, started, command, station, bay, bus, ecu, images, image_sha256,"
    " settings, phases, outcome, message, microseconds, version, artifacts)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16)"
    " ON CONFLICT (id) DO UPDATE SET started = ?2, command = ?3, station = ?4, bay = ?5, bus = ?6,"
    " ecu = ?7, images = ?8, image_sha256 = ?9, settings = ?10, phases = ?11, outcome = ?12,"
    " message = ?13, microseconds = ?14, version = ?15, artifacts = ?16, writes = writes + 1";

constexpr std::string_view kFind =
    "SELECT id, started, command, station, bay, bus, ecu, images, image_sha256, settings, phases,"
    " outcome, message, microseconds, version, artifacts FROM runs"
    " WHERE instr(lower(ecu), lower(?1))"
    " AND (instr(lower(images), lower(?2)) OR instr(image_sha256, lower(?2)))"
    " AND (?3 = '' OR outcome = ?3) AND started >= ?4 AND started < ?5"
    " AND instr(lower(id || char(10) || command || char(10) || station || char(10) || bay || "
    "char(10) || bus || char(10) || ecu || char(10) || images || char(10) || image_sha256 ||"
    " char(10) || settings || char(10) || outcome || char(10) || message || char(10) || version ||"
    " char(10) || artifacts), lower(?6)) AND instr(lower(station), lower(?8))"
    " ORDER BY started DESC, number DESC LIMIT ?7";

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

RunRecord RunOf(const Statement& row) {
  return {.id = row.Text(0),
          .started = Clock::time_point(milliseconds(row.Number(1))),
          .command = row.Text(2),
          .station = row.Text(3),
          .bay = row.Text(4),
          .bus = row.Text(5),
          .ecu = row.Text(6),
          .images = Json::parse(row.Text(7)).get<std::vector<std::string>>(),
          .image_sha256 = row.Text(8),
          .settings = Json::parse(row.Text(9)).get<std::vector<std::string>>(),
          .phases = PhasesOf(row.Text(10)),
          .outcome = OutcomeOf(row.Text(11)),
          .message = row.Text(12),
          .time = Duration(row.Number(13)),
          .version = row.Text(14),
          .artifacts = row.Text(15)};
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

}  // namespace

/// The open file. All calls raise RecordsError.
class RunRecords::File {
 public:
  File(fs::path path, Use use) : path_(std::move(path)) {
    Guarded([&] { Open(use); });
  }

  void Write(const RunRecord& run, milliseconds patience) {
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
        runs.push_back(RunOf(rows));
      }
    });
    return runs;
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
    file_->Write(run, patience);
  } catch (const DamagedRecords&) {
    // It was damaged or moved since it was opened.
    Open();
    file_->Write(run, patience);
  }
}

std::vector<RunRecord> RunRecords::Find(const RunFilter& filter) const {
  return file_->Find(filter);
}

fs::path UsualRecords() {
  const fs::path state = UserFolder("XDG_STATE_HOME", ".local/state");
  return state.empty() ? state : state / "quillmark" / "records.sqlite";
}

}  // namespace quillmark::host

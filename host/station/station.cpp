// SPDX-License-Identifier: MIT
// What the page asks, and what it gets. All answers are JSON; an error is {"error": TEXT}.
//
//   GET  /api/state                  all bays
//   GET  /api/events                 each bay, and again whenever it has changed
//   GET  /api/bays/N/memory          [[START, COUNT, STATE] …] of its image, as the report has it
//   GET  /api/bays/N/log             the lines of its log
//   GET  /api/bays/N/report          the report of its last flash, a page
//   POST /api/bays/N/image           takes the body; ?name= of its file, &base= of a raw binary
//   POST /api/bays/N/unload          forgets the image
//   POST /api/bays/N/identify
//   POST /api/bays/N/flash           ?image= its number: what was looked at is what is flashed
//   POST /api/bays/N/answer          ?question= its number, &answer=yes or no
//   POST /api/bays/N/stop
//   GET  /api/runs                   the record; ?search= &station= &ecu= &image= &outcome=
//                                    &since= &until= in milliseconds since 1970,
//                                    &last= at most so many
//   GET  /api/runs/ID/report         the report of a run, a page
//   GET  /api/stations/runs          the same of all stations, from their server, and the problem
//                                    where that does not answer
//
// N counts from 0. No request names a file, a folder, a device or a command.
#include "host/station/station.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "host/tool/exit_code.h"
#include "quillmark/host/report.h"
#include "quillmark/host/text.h"
#include "station_files.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// Enough for an image of 16 MiB as records of 16 bytes.
constexpr std::size_t kMostImage = std::size_t{64} * 1024 * 1024;
constexpr std::size_t kMostRuns = 1000;

/// A report is a page of its own, with its script in it, which its own policy names by its hash. It
/// shows what an ECU said: in a sandbox it could not reach the station even if a text became code.
constexpr std::string_view kReportPolicy =
    "sandbox allow-scripts; default-src 'none'; script-src 'unsafe-inline'; style-src "
    "'unsafe-inline'; img-src data:; frame-ancestors 'none'; form-action 'none'; base-uri 'none'";

/// What cannot be done now; the text says why.
HttpError Conflict(const std::string& text) { return {409, text}; }

HttpResponse AnswerOf(const Json& json) {
  HttpResponse response;
  response.body = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  return response;
}

HttpResponse ReportOf(const std::filesystem::path& artifacts) {
  try {
    return {200, "text/html; charset=utf-8", RenderPage(ReadArtifacts(artifacts)),
            std::string(kReportPolicy)};
  } catch (const std::exception& error) {
    throw HttpError(404, error.what());
  }
}

std::string TextIn(const HttpRequest& request, const char* name) {
  const auto found = request.query.find(name);
  return found == request.query.end() ? "" : found->second;
}

/// Nothing if the query does not have it. Raises HttpError.
std::optional<std::uint64_t> NumberIn(const HttpRequest& request, const char* name,
                                      std::uint64_t most) {
  const std::string value = TextIn(request, name);
  if (value.empty()) {
    return std::nullopt;
  }
  std::string_view text = value;
  const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  text.remove_prefix(is_hexadecimal ? 2 : 0);
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, is_hexadecimal ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != end || number > most) {
    throw HttpError(400, fmt::format("{}: expected a number up to {}, such as 32768 or 0x8000, "
                                     "found \"{}\"",
                                     name, most, value));
  }
  return number;
}

/// The last part of a name, which may have come with folders.
std::string FileNameOf(const std::string& name) {
  const std::size_t slash = name.find_last_of("/\\");
  const std::string last = slash == std::string::npos ? name : name.substr(slash + 1);
  return last.empty() ? "image" : last;
}

std::string_view NameOf(const BayState& state) {
  if (!state.is_running) {
    return "nothing";
  }
  return state.work == BayWork::kFlash ? "flashing" : "identifying";
}

Json ToJson(const Progress& progress, const BayState& state) {
  return {{"phase", host::NameOf(progress.phase)},
          {"share", state.done},
          {"seconds_left", state.time_left ? Json(SecondsOf(*state.time_left)) : Json()},
          {"bytes_done", progress.bytes_done},
          {"bytes_total", progress.bytes_total},
          {"bytes_a_second", state.bytes_a_second},
          {"repeated", progress.repeated}};
}

Json ToJson(const FailureReport& outcome, const BayState& state) {
  const bool is_cancelled = outcome.code == ExitCode::kInterrupted;
  return {{"state", outcome.code == ExitCode::kDone ? "done"
                    : is_cancelled                  ? "cancelled"
                                                    : "failed"},
          {"work", state.work == BayWork::kFlash ? "flash" : "identify"},
          {"line", outcome.message},
          {"more", outcome.lines},
          {"has_report", !state.artifacts.empty()}};
}

/// What of the image is sent, and what is left out as fill.
Json MemoryOf(const DownloadPlan& plan, const ImageSegments& segments) {
  Json ranges = Json::array();
  auto block = plan.blocks.begin();
  for (const ImageSegment& segment : segments) {
    std::uint64_t at = segment.address;
    const std::uint64_t end = at + segment.bytes.size();
    while (at < end) {
      const bool has_block = block != plan.blocks.end() && block->start < end;
      const std::uint64_t fill_end = has_block ? block->start : end;
      if (fill_end > at) {
        ranges.push_back({at, fill_end - at, "fill"});
      }
      at = fill_end;
      // Blocks side by side are one range.
      std::uint64_t sent_end = at;
      while (block != plan.blocks.end() && block->start == sent_end && sent_end < end) {
        sent_end += block->count;
        ++block;
      }
      if (sent_end > at) {
        ranges.push_back({at, sent_end - at, "planned"});
      }
      at = sent_end;
    }
  }
  return ranges;
}

Json ToJson(const RunRecord& run) {
  const auto started = std::chrono::floor<milliseconds>(run.started.time_since_epoch()).count();
  return {{"id", run.id},
          {"started", started},
          {"command", run.command},
          {"station", run.station},
          {"bay", run.bay},
          {"bus", run.bus},
          {"ecu", run.ecu},
          {"images", run.images},
          {"image_sha256", run.image_sha256},
          {"outcome", host::NameOf(run.outcome)},
          {"message", run.message},
          {"seconds", SecondsOf(run.time)},
          {"version", run.version},
          {"has_report", !run.artifacts.empty()}};
}

Json ToJson(const std::vector<RunRecord>& runs) {
  Json all = Json::array();
  for (const RunRecord& run : runs) {
    all.push_back(ToJson(run));
  }
  return all;
}

std::optional<OutcomeState> OutcomeIn(const HttpRequest& request) {
  const std::string text = TextIn(request, "outcome");
  for (const OutcomeState outcome : {OutcomeState::kDone, OutcomeState::kFailed,
                                     OutcomeState::kCancelled, OutcomeState::kUnfinished}) {
    if (text == host::NameOf(outcome)) {
      return outcome;
    }
  }
  if (!text.empty()) {
    throw HttpError(400, "outcome: expected done, failed, cancelled or unfinished");
  }
  return std::nullopt;
}

std::optional<std::chrono::system_clock::time_point> TimeIn(const HttpRequest& request,
                                                            const char* name) {
  // The clock counts nanoseconds in 63 bits.
  constexpr std::uint64_t kYear2200 = 7'258'118'400'000;
  const auto number = NumberIn(request, name, kYear2200);
  if (!number) {
    return std::nullopt;
  }
  return std::chrono::system_clock::time_point(milliseconds(*number));
}

}  // namespace

RunFilter FilterOf(const HttpRequest& request) {
  RunFilter filter;
  filter.station = TextIn(request, "station");
  filter.ecu = TextIn(request, "ecu");
  filter.image = TextIn(request, "image");
  filter.text = TextIn(request, "search");
  filter.outcome = OutcomeIn(request);
  filter.since = TimeIn(request, "since");
  filter.until = TimeIn(request, "until");
  filter.most = NumberIn(request, "last", kMostRuns).value_or(kMostRuns);
  return filter;
}

/// A bay and the image that it is to get. Used by the server's threads; what begins work is called
/// on one of them alone.
class Station::Place {
 public:
  Place(std::size_t number, StationBay&& bay, std::filesystem::path artifacts,
        Bay::Listeners listeners)
      : number_(number),
        artifacts_(std::move(artifacts)),
        bay_(std::move(bay.name), WithQuestion(std::move(bay.settings)), std::move(listeners)) {}

  [[nodiscard]] Json ToJson() const;
  [[nodiscard]] Json Memory() const;
  [[nodiscard]] Json Log() const { return {{"lines", bay_.State().lines}}; }
  [[nodiscard]] HttpResponse Report() const;
  void Load(const HttpRequest& request);
  void Unload(const HttpRequest& request);
  void Identify(const HttpRequest& request);
  void Flash(const HttpRequest& request);
  void Answer(const HttpRequest& request);
  void Stop() { bay_.Stop(); }
  void Wait() { bay_.Wait(); }
  /// Begins nothing more.
  void End();
  [[nodiscard]] const Bay& bay() const { return bay_; }

 private:
  // NOLINTNEXTLINE(bugprone-exception-escape): moving Json throws nothing, though it checks itself
  struct Loaded {
    std::uint64_t number = 0;
    std::shared_ptr<FlashRun> run;
    Json summary;
    Json memory;
  };

  static FlashSettings WithQuestion(FlashSettings settings) {
    settings.flash.yes = false;
    settings.recording.artifacts.clear();
    return settings;
  }

  /// The state without the lines of the log, and how many there are.
  [[nodiscard]] BayState State() const { return bay_.State(SIZE_MAX); }
  void RequireIdle() const;
  [[nodiscard]] std::optional<Loaded> loaded() const {
    const std::lock_guard lock(mutex_);
    return loaded_;
  }
  [[nodiscard]] std::string NewFolder() const;

  std::size_t number_;
  std::filesystem::path artifacts_;
  mutable std::mutex mutex_;
  std::optional<Loaded> loaded_;
  std::uint64_t images_ = 0;
  std::atomic<std::uint64_t> flashes_ = 0;
  std::atomic<bool> is_ending_ = false;
  Bay bay_;
};

Json Station::Place::ToJson() const {
  const BayState state = State();
  const FlashSettings& settings = bay_.settings();
  const Bytes& expected = settings.session.expected_ecu;
  const auto image = loaded();
  Json question;
  if (state.question) {
    question = {{"number", flashes_.load()},
                {"ecu", state.question->ecu},
                {"lines", LinesOf(*state.question)}};
  }
  return {{"bay", number_},
          {"name", bay_.name()},
          {"bus", settings.session.bus_uri},
          {"profile", settings.session.profile},
          {"expected", expected.empty() ? "" : ExpectedEcuText(expected)},
          {"verifies", settings.flash.verify},
          {"work", NameOf(state)},
          {"is_stopping", state.is_stopping},
          {"ecu", state.ecu},
          {"image", image ? image->summary : Json()},
          {"question", question},
          {"progress", state.progress ? host::ToJson(*state.progress, state) : Json()},
          {"outcome", state.outcome ? host::ToJson(*state.outcome, state) : Json()},
          {"log_lines", state.first_line}};
}

Json Station::Place::Memory() const {
  const auto image = loaded();
  return {{"memory", image ? image->memory : Json::array()}};
}

HttpResponse Station::Place::Report() const {
  const BayState state = State();
  if (state.artifacts.empty()) {
    throw HttpError(404, "there is no report of this bay");
  }
  return ReportOf(Utf8Path(state.artifacts));
}

void Station::Place::RequireIdle() const {
  if (is_ending_) {
    throw Conflict("the station is about to end");
  }
  if (State().is_running) {
    throw Conflict("the bay is at work; wait for its end, or stop it");
  }
}

void Station::Place::Load(const HttpRequest& request) {
  RequireIdle();
  std::optional<std::uint32_t> base;
  if (const auto number = NumberIn(request, "base", UINT32_MAX)) {
    base = static_cast<std::uint32_t>(*number);
  }
  Loaded image;
  const std::string name = FileNameOf(TextIn(request, "name"));
  try {
    image.run = std::make_shared<FlashRun>(
        bay_.settings(), std::make_shared<Images>(ImagesOf({{name, request.body, base}})));
    const DownloadPlan& plan = image.run->Plan([this] { return is_ending_.load(); });
    const ImageSegments& segments = image.run->images().segments;
    image.summary = {{"number", 0},
                     {"name", name},
                     {"sha256", Sha256Of(segments)},
                     {"segments", segments.size()},
                     {"first", segments.front().address},
                     {"last", segments.back().address + segments.back().bytes.size() - 1},
                     {"blocks", plan.blocks.size()},
                     {"image_bytes", plan.image_bytes},
                     {"sent_bytes", plan.sent_bytes},
                     {"documents", plan.documents},
                     {"wire_seconds", SecondsOf(plan.wire_time)}};
    image.memory = MemoryOf(plan, segments);
  } catch (const MisplacedBase& error) {
    throw HttpError(422, error.what());
  } catch (const std::exception& error) {
    throw HttpError(400, error.what());
  }
  RequireIdle();
  const std::lock_guard lock(mutex_);
  image.number = ++images_;
  image.summary["number"] = image.number;
  loaded_ = std::move(image);
}

void Station::Place::Unload(const HttpRequest& /*request*/) {
  RequireIdle();
  const std::lock_guard lock(mutex_);
  loaded_.reset();
}

void Station::Place::Identify(const HttpRequest& /*request*/) {
  RequireIdle();
  bay_.StartIdentify();
}

/// A folder that no other flash has.
std::string Station::Place::NewFolder() const {
  if (artifacts_.empty()) {
    return "";
  }
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  return (artifacts_ /
          fmt::format("{:%Y-%m-%dT%H-%M-%SZ}-{}", fmt::gmtime(now), NewRunId().substr(0, 8)))
      .string();
}

void Station::Place::Flash(const HttpRequest& request) {
  RequireIdle();
  const auto image = loaded();
  if (!image) {
    throw Conflict("the bay has no image; choose one first");
  }
  if (image->number != NumberIn(request, "image", UINT64_MAX)) {
    throw Conflict("the bay has another image now; look at it and flash again");
  }
  const std::string folder = NewFolder();
  if (!folder.empty()) {
    CreateFolders(artifacts_);
  }
  image->run->LeaveArtifactsIn(folder);
  ++flashes_;
  bay_.StartFlash(image->run);
}

void Station::Place::Answer(const HttpRequest& request) {
  const std::string answer = TextIn(request, "answer");
  if (answer != "yes" && answer != "no") {
    throw HttpError(400, "answer: expected yes or no");
  }
  const auto number = NumberIn(request, "question", UINT64_MAX);
  if (number != flashes_.load() || !bay_.Answer(answer == "yes")) {
    throw Conflict("nobody waits for this answer any more");
  }
}

void Station::Place::End() {
  is_ending_ = true;
  bay_.Stop();
}

Station::Station(Settings settings, std::vector<StationBay> bays) : settings_(std::move(settings)) {
  for (std::size_t number = 0; number < bays.size(); ++number) {
    // Nothing changes before the server is there and somebody asks for it.
    places_.push_back(std::make_unique<Place>(
        number, std::move(bays[number]), settings_.artifacts,
        Bay::Listeners{.on_change = [this, number] { server_->Tell(number); },
                       .open_bus = settings_.open_bus}));
  }
  const auto state_of = [this](std::size_t number) {
    return AnswerOf(places_[number]->ToJson()).body;
  };
  server_ = std::make_unique<HttpServer>(
      HttpServer::Settings{.address = settings_.address,
                           .port = settings_.port,
                           .identity = settings_.identity,
                           .password = std::exchange(settings_.password, ""),
                           .routes = Routes(),
                           .events = {places_.size(), state_of}});
}

Station::~Station() {
  Stop();
  // The server stays until no bay tells it anything more, and answers until it ends.
  for (const auto& place : places_) {
    place->Wait();
  }
  server_->Close();
  places_.clear();
}

void Station::Stop() {
  for (const auto& place : places_) {
    place->End();
  }
}

std::size_t Station::busy() const {
  return static_cast<std::size_t>(
      std::count_if(places_.begin(), places_.end(),
                    [](const auto& place) { return place->bay().State(SIZE_MAX).is_running; }));
}

EcuMemory Station::memory() const {
  EcuMemory worst = EcuMemory::kUntouched;
  for (const auto& place : places_) {
    const EcuMemory memory = place->bay().memory();
    // What is written and checked is nothing to warn of.
    if (memory != EcuMemory::kChecked) {
      worst = std::max(worst, memory);
    }
  }
  return worst;
}

Station::Place& Station::PlaceOf(const HttpRequest& request) const {
  const std::string& part = request.parts.at(0);
  std::size_t number = 0;
  const char* const end = part.data() + part.size();
  const auto read = std::from_chars(part.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number >= places_.size()) {
    throw HttpError(404, "there is no such bay");
  }
  return *places_[number];
}

/// Asks something of a bay and answers with its state.
HttpRoute Station::Asking(const char* what, std::function<void(Place&, const HttpRequest&)> ask,
                          std::size_t most_body) {
  return {"POST",
          fmt::format("/api/bays/*/{}", what),
          most_body,
          false,
          most_body > 0,
          [this, ask = std::move(ask)](const HttpRequest& request) {
            Place& place = PlaceOf(request);
            ask(place, request);
            const Json state = place.ToJson();
            server_->Tell(state["bay"]);
            return AnswerOf(state);
          }};
}

std::vector<HttpRoute> Station::Routes() {
  const auto get = [](const char* path, bool may_take_long,
                      std::function<Json(const HttpRequest&)> json) {
    return HttpRoute{
        "GET", path, 0, false, may_take_long, [json = std::move(json)](const HttpRequest& request) {
          return AnswerOf(json(request));
        }};
  };
  std::vector<HttpRoute> routes{
      Asking("image", &Place::Load, kMostImage),
      Asking("unload", &Place::Unload),
      Asking("identify", &Place::Identify),
      Asking("flash", &Place::Flash),
      Asking("answer", &Place::Answer),
      Asking("stop", [](Place& place, const HttpRequest&) { place.Stop(); }),
      get("/api/state", false,
          [this](const HttpRequest&) {
            Json bays = Json::array();
            for (const auto& place : places_) {
              bays.push_back(place->ToJson());
            }
            return Json{{"bays", bays},
                        {"has_records", !settings_.records.empty()},
                        {"has_server", !settings_.server.empty()}};
          }),
      get("/api/bays/*/memory", false,
          [this](const HttpRequest& request) { return PlaceOf(request).Memory(); }),
      get("/api/bays/*/log", false,
          [this](const HttpRequest& request) { return PlaceOf(request).Log(); }),
      get("/api/runs", true,
          [this](const HttpRequest& request) {
            return Json{{"runs", ToJson(RunsOf(FilterOf(request)))}};
          }),
      get("/api/stations/runs", true,
          [this](const HttpRequest& request) {
            try {
              return Json{{"runs", ToJson(RunsOfAll(FilterOf(request)))}, {"problem", ""}};
            } catch (const RecordsError& error) {
              return Json{{"runs", Json::array()}, {"problem", error.what()}};
            }
          }),
      {"GET", "/api/bays/*/report", 0, false, true,
       [this](const HttpRequest& request) { return PlaceOf(request).Report(); }},
      {"GET", "/api/runs/*/report", 0, false, true, [this](const HttpRequest& request) {
         RunFilter filter;
         filter.text = request.parts.at(0);
         for (const RunRecord& run : RunsOf(filter)) {
           if (run.id == filter.text && !run.artifacts.empty()) {
             return ReportOf(run.artifacts);
           }
         }
         throw HttpError(404, "there is no report of this run");
       }}};
  for (const StationFile& file : kStationFiles) {
    routes.push_back({"GET", std::string(file.path), 0, true, false, [&file](const HttpRequest&) {
                        return HttpResponse{200, std::string(file.type), std::string(file.content),
                                            std::string(kOwnPagePolicy)};
                      }});
  }
  return routes;
}

/// Nothing was ever recorded where the file is missing.
std::vector<RunRecord> Station::RunsOf(const RunFilter& filter) const {
  const std::filesystem::path file = Utf8Path(settings_.records);
  std::error_code ignored;
  if (settings_.records.empty() || !std::filesystem::exists(file, ignored)) {
    return {};
  }
  return RunRecords(file, RunRecords::Use::kRead).Find(filter);
}

/// What the server could not take when a bay was done with it. Returns how many runs that were;
/// what it does not take now either is told by the next flash.
std::size_t Station::SendWhatIsLeft(StationRecords& server) const {
  std::error_code ignored;
  const std::filesystem::path file = Utf8Path(settings_.records);
  try {
    return std::filesystem::exists(file, ignored)
               ? RunRecords(file, RunRecords::Use::kRead).ForwardTo(server)
               : 0;
  } catch (const RecordsError&) {
    return 0;
  }
}

/// Of the threads that answer, one at a time waits for the server, and none soon after it has not
/// answered: the others are there for images.
std::vector<RunRecord> Station::RunsOfAll(const RunFilter& filter) {
  using Clock = std::chrono::steady_clock;
  constexpr milliseconds kPatience{2000};
  constexpr milliseconds kPause{3000};
  if (settings_.server.empty()) {
    return {};
  }
  std::unique_lock lock(server_mutex_);
  if (!server_is_free_.wait_for(lock, kPatience / 2, [this] { return !is_asking_; })) {
    throw RecordsError("no answer yet");
  }
  if (Clock::now() < ask_again_) {
    throw RecordsError(server_problem_);
  }
  is_asking_ = true;
  lock.unlock();
  std::vector<RunRecord> runs;
  std::string problem;
  try {
    StationRecords server(settings_.server, kPatience);
    runs = server.Find(filter);
    if (SendWhatIsLeft(server) > 0) {
      runs = server.Find(filter);
    }
  } catch (const std::exception& error) {
    problem = error.what();
  }
  lock.lock();
  is_asking_ = false;
  server_is_free_.notify_one();
  if (!problem.empty()) {
    server_problem_ = problem;
    ask_again_ = Clock::now() + kPause;
    throw RecordsError(problem);
  }
  for (RunRecord& run : runs) {
    // A folder of another machine, perhaps.
    run.artifacts.clear();
  }
  return runs;
}

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "host/programmer/session.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "host/programmer/failure.h"
#include "host/programmer/memory_ranges.h"
#include "host/programmer/piece_queue.h"

namespace quillmark::host {
namespace {

constexpr std::int32_t kNotReprogrammable = 4000;

/// The error that `check` raises.
template <typename Check>
std::optional<Error> ErrorOf(Check&& check) {
  try {
    check();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

Bytes BytesOrNone(const std::shared_ptr<ByteString>& record) {
  return record ? BytesOf(*record) : Bytes{};
}

Identification IdentificationOf(const std::shared_ptr<ByteString>& record,
                                const ByteStringArray& history,
                                const ByteStringArray& reprogramming) {
  Identification identification{.record = BytesOrNone(record), .entries = {}};
  for (std::size_t i = 0; i < history.size() && history[i]; ++i) {
    identification.entries.push_back({BytesOrNone(history[i]), BytesOrNone(reprogramming[i])});
  }
  return identification;
}

/// A record that the ECU does not have ends the sequence: it is refused, and that is not a failure
/// where the check routine finds enough records.
bool EndsWithTheHistory(const RunOutcome& outcome) {
  constexpr std::uint8_t kReadRecord = 0x21;
  return outcome.status == RunStatus::kUnexpectedFrame && outcome.response_code &&
         !outcome.request.empty() && outcome.request[0] == kReadRecord;
}

/// The lengths of keys whose reply the component finds (D10).
bool KeyFits(TransportForm form, std::size_t size) {
  switch (form) {
    case TransportForm::kPlainCan:
      return size <= 5;
    case TransportForm::kGateway:
      return size >= 2 && size <= 9;
    default:
      return size <= 253;
  }
}

/// Whether a failed start of the erase certainly left the memory unchanged.
bool WasNotStarted(const Failure& failure) {
  const bool refused = failure.cause == Cause::kUnexpectedReply && failure.response_code;
  return failure.cause == Cause::kCancelled || refused;
}

}  // namespace

/// Receives the documents of a worker as long as it lives.
class Session::PieceReceiver {
 public:
  explicit PieceReceiver(DiagOnCANReprog& reprog) : reprog_(reprog) {
    reprog_.OnXMLReady([queue = queue_](const std::shared_ptr<IXMLDOMNode>& piece, bool& cancel) {
      cancel = !queue->Push(piece);
    });
  }
  PieceReceiver(const PieceReceiver&) = delete;
  PieceReceiver& operator=(const PieceReceiver&) = delete;
  PieceReceiver(PieceReceiver&&) = delete;
  PieceReceiver& operator=(PieceReceiver&&) = delete;
  ~PieceReceiver() {
    queue_->Close();
    reprog_.OnXMLReady({});
  }

  /// Null at the end of the sequence; nothing if the worker takes longer than `timeout`.
  [[nodiscard]] std::optional<std::shared_ptr<IXMLDOMNode>> Next(
      std::chrono::milliseconds timeout) {
    return queue_->Pop(timeout);
  }

 private:
  DiagOnCANReprog& reprog_;
  std::shared_ptr<PieceQueue> queue_ = std::make_shared<PieceQueue>();
};

Session::Session(std::shared_ptr<Platform> platform, std::shared_ptr<DiagOnCANReprog> reprog,
                 Bus& bus, const ProgrammerConfig& config, ProgressReporter& progress,
                 const SessionCallbacks& callbacks)
    : platform_(std::move(platform)),
      bus_(bus),
      config_(config),
      progress_(progress),
      callbacks_(callbacks),
      runner_(bus, config.form, config.timing),
      reprog_(std::move(reprog)) {
  const bool by_identifiers = config.form == TransportForm::kPlainCan;
  reprog_->CANIDs(by_identifiers ? config.receive_id : 0,
                  by_identifiers ? config.send_id : config.address);
  reprog_->FlowControl(config.block_size, config.separation_time);
  runner_.OnStopRequested([this] { return StopRequested(); });
  runner_.OnRequestDone([this](ByteView request) { OnRequestDone(request); });
}

bool Session::StopRequested() const {
  return !closing_ && callbacks_.stop_requested && callbacks_.stop_requested();
}

Session::~Session() {
  if (!open_) {
    return;
  }
  try {
    StopCommunication();
  } catch (...) {
    // The host is told what went wrong first.
    open_ = false;  // as far as this session can close it
  }
}

Identification Session::Identify() {
  progress_.Begin(Phase::kIdentify);
  SetOpen(true);
  const Document document = reprog_->StartDiag();
  const RunOutcome outcome = Run(document);
  ByteStringArray history;
  ByteStringArray reprogramming;
  std::shared_ptr<ByteString> record;
  const std::optional<Error> error =
      ErrorOf([&] { reprog_->gethisto(document, history, reprogramming, record); });
  // D16.
  const bool only_without_history = config_.form == TransportForm::kKLine && record && error &&
                                    error->Number() == kNotReprogrammable;
  if ((!outcome.complete() && !EndsWithTheHistory(outcome)) || (error && !only_without_history)) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, error));
  }
  if (config_.form == TransportForm::kGateway && outcome.complete()) {
    SetOpen(false);
  }
  return IdentificationOf(record, history, reprogramming);
}

void Session::AwaitConfirmation(const std::function<Programmer::Answer()>& confirm) {
  Programmer::Answer answer = confirm();
  for (; answer == Programmer::Answer::kNotYet; answer = confirm()) {
    KeepAliveUnlessStopped();
  }
  if (answer == Programmer::Answer::kNo) {
    Fail(Cause::kCancelled, "not confirmed");
  }
}

void Session::Unlock() {
  progress_.Begin(Phase::kUnlock);
  SetOpen(true);
  std::shared_ptr<ByteString> seed_string;
  Exchange(reprog_->readseed(),
           [&](const Document& reply) { seed_string = reprog_->getseed(reply); });
  const Bytes seed = BytesOf(*seed_string);
  const bool already_unlocked =
      std::all_of(seed.begin(), seed.end(), [](std::uint8_t byte) { return byte == 0; });
  if (already_unlocked) {
    return;
  }
  Exchange(reprog_->dounlock(ByteStringOf(KeyOf(seed))),
           [&](const Document& reply) { reprog_->checkunlock(reply); });
}

void Session::Erase() {
  progress_.SetMemory(EcuMemory::kPerhapsErased);
  progress_.Begin(Phase::kErase);
  try {
    Exchange(reprog_->starterase(config_.memory),
             [&](const Document& reply) { reprog_->checkstarterase(reply); });
  } catch (const ProgrammingError& error) {
    if (WasNotStarted(error.failure())) {
      progress_.SetMemory(EcuMemory::kUntouched);
    }
    throw;
  }
  Poll([&] { return reprog_->checkerase(); },
       [&](const Document& reply) { return reprog_->checkcheckerase(reply); });
}

std::uint64_t Session::Download(const std::shared_ptr<MemoryImage>& image, std::uint64_t size) {
  progress_.SetMemory(EcuMemory::kPartlyWritten);
  progress_.Begin(Phase::kDownload, size);
  Stream(
      [&] {
        reprog_->ComputeDownload(config_.memory, image, config_.fill_byte, config_.alignment,
                                 config_.max_block);
      },
      [&](const Document& reply) { reprog_->checkdownload(reply); }, size);
  progress_.SetMemory(EcuMemory::kWritten);
  return moved_;
}

void Session::Check() {
  progress_.Begin(Phase::kCheck);
  const std::uint8_t routine = config_.check_routine;
  Exchange(reprog_->startroutine(routine),
           [&](const Document& reply) { reprog_->checkstartroutine(reply, routine); });
  Poll([&] { return reprog_->routinestatus(routine); },
       [&](const Document& reply) { return reprog_->checkroutine(reply, routine); });
  progress_.SetMemory(EcuMemory::kChecked);
}

std::shared_ptr<MemoryImage> Session::Upload(const std::shared_ptr<MemoryMap>& map,
                                             std::uint64_t size, Phase phase) {
  progress_.Begin(phase, size);
  const std::shared_ptr<MemoryImage> image = platform_->CreateMemoryImage();
  Stream([&] { reprog_->ComputeUpload(map, config_.memory); },
         [&](const Document& reply) { reprog_->checkupload(reply, image); }, size);
  return image;
}

void Session::WriteLogZone() {
  if (!config_.log_record) {
    return;
  }
  progress_.Begin(Phase::kLogZone);
  Exchange(reprog_->writelogzone(ByteStringOf(*config_.log_record)),
           [&](const Document& reply) { reprog_->checkwritelogzone(reply); });
}

void Session::Close() {
  if (!open_) {
    return;
  }
  progress_.Begin(Phase::kClose);
  StopCommunication();
}

void Session::StopCommunication() {
  closing_ = true;
  Exchange(reprog_->stopcomm(), [](const Document&) {});
  SetOpen(false);
}

void Session::SetOpen(bool open) {
  open_ = open;
  progress_.SetSessionOpen(open);
}

void Session::KeepAlive() {
  if (open_ && bus_.Now() - last_request_ >= config_.tester_present_interval) {
    Exchange(reprog_->TesterPresent(), [](const Document&) {});
  }
}

void Session::KeepAliveUnlessStopped() {
  if (StopRequested()) {
    Fail(Cause::kCancelled, "cancelled");
  }
  KeepAlive();
}

void Session::Pause(std::chrono::milliseconds time) {
  const Duration end = bus_.Now() + time;
  for (Duration left = time; left > Duration::zero(); left = end - bus_.Now()) {
    bus_.Wait(std::min(std::chrono::ceil<std::chrono::milliseconds>(left),
                       config_.tester_present_interval));
    KeepAlive();
  }
}

RunOutcome Session::Run(const Document& document) {
  TellDocument(document, nullptr);
  RunOutcome outcome = runner_.Run(*document);
  last_request_ = bus_.Now();
  TellDocument(document, &outcome);
  if (outcome.status == RunStatus::kStopped) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, std::nullopt));
  }
  return outcome;
}

void Session::TellDocument(const Document& document, const RunOutcome* outcome) const {
  if (callbacks_.on_document) {
    callbacks_.on_document({progress_.phase(), *document, outcome});
  }
}

void Session::Exchange(const Document& document, const CheckDocument& check) {
  const RunOutcome outcome = Run(document);
  const std::optional<Error> error = ErrorOf([&] { check(document); });
  if (!outcome.complete() || error) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, error));
  }
}

void Session::Poll(const std::function<Document()>& request,
                   const std::function<bool(const Document&)>& is_finished) {
  const Duration deadline = bus_.Now() + config_.busy_limit;
  for (;;) {
    const Document document = request();
    const RunOutcome outcome = Run(document);
    bool finished = false;
    const std::optional<Error> error = ErrorOf([&] { finished = is_finished(document); });
    // D19.
    const bool answered = outcome.complete() || outcome.status == RunStatus::kUnexpectedFrame;
    if (!answered || error) {
      throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, error));
    }
    if (finished) {
      return;
    }
    if (bus_.Now() >= deadline) {
      Fail(Cause::kStillBusy,
           "the ECU is still busy after " + std::to_string(config_.busy_limit.count()) + " ms");
    }
    Pause(config_.poll_interval);
  }
}

std::shared_ptr<IXMLDOMNode> Session::NextPiece(PieceReceiver& receiver) {
  constexpr std::chrono::milliseconds kLookUp{50};
  for (;;) {
    if (auto piece = receiver.Next(kLookUp)) {
      return *piece;
    }
    KeepAlive();
  }
}

void Session::Stream(const std::function<void()>& start, const CheckDocument& check,
                     std::uint64_t size) {
  covered_ = 0;
  moved_ = 0;
  PieceReceiver receiver(*reprog_);
  start();
  while (const std::shared_ptr<IXMLDOMNode> piece = NextPiece(receiver)) {
    covered_ += static_cast<std::uint64_t>(RunPiece(piece, check));
    progress_.BytesDone(covered_);
  }
  // D25.
  if (covered_ != size) {
    Fail(Cause::kIncomplete, "the transfer ended after " + std::to_string(covered_) + " of " +
                                 std::to_string(size) + " bytes");
  }
}

std::int32_t Session::RunPiece(const std::shared_ptr<IXMLDOMNode>& piece,
                               const CheckDocument& check) {
  const auto document = std::dynamic_pointer_cast<DOMDocument>(piece);
  const auto root = document ? document->documentElement() : nullptr;
  const std::string text = root ? root->getAttribute("totalbytes").value_or("") : "";
  std::int32_t bytes = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  if (error != std::errc{} || end != text.data() + text.size() || bytes < 0) {
    Fail(Cause::kComponent, "a transfer document does not say how many bytes it covers");
  }
  Exchange(document, check);
  return bytes;
}

/// Counts the data of a block, so that a host sees a large document move.
void Session::OnRequestDone(ByteView request) {
  constexpr std::size_t kBlockHeader = 6;
  const Phase phase = progress_.phase();
  const bool moves_bytes = phase == Phase::kDownload || phase == Phase::kUpload ||
                           phase == Phase::kVerify || phase == Phase::kBackup;
  if (!moves_bytes || request.size() < kBlockHeader) {
    return;
  }
  moved_ += request[kBlockHeader - 1];
  progress_.BytesDone(std::max(covered_, moved_));
}

Bytes Session::KeyOf(const Bytes& seed) {
  if (!config_.key) {
    Fail(Cause::kKey, "there is no key function");
  }
  std::optional<Bytes> key = AskForKey(seed);
  for (; !key; key = AskForKey(seed)) {
    KeepAliveUnlessStopped();
  }
  if (!KeyFits(config_.form, key->size())) {
    Fail(Cause::kKey, "a key of " + std::to_string(key->size()) + " bytes cannot be sent");
  }
  return *key;
}

std::optional<Bytes> Session::AskForKey(const Bytes& seed) const {
  try {
    return config_.key(seed);
  } catch (const std::exception& error) {
    Fail(Cause::kKey, std::string("no key for the seed: ") + error.what());
  }
}

std::shared_ptr<ByteString> Session::ByteStringOf(const Bytes& bytes) const {
  std::shared_ptr<ByteString> string = platform_->CreateByteString();
  string->SetHex(HexOf(bytes));
  return string;
}

void Session::Fail(Cause cause, const std::string& text) const {
  Failure failure;
  failure.phase = progress_.phase();
  failure.cause = cause;
  failure.text = text;
  throw ProgrammingError(failure);
}

}  // namespace quillmark::host

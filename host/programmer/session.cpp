// SPDX-License-Identifier: MIT
#include "host/programmer/session.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <span>
#include <string>
#include <utility>

#include "host/programmer/failure.h"
#include "host/programmer/image_parts.h"

namespace quillmark::host {
namespace {

constexpr std::int32_t kNotReprogrammable = 4000;

/// A wrong key could cost the last attempt.
constexpr int kMostKeys = 2;

constexpr std::uint8_t kDownloadService = 0x34;
constexpr std::uint8_t kUploadService = 0x35;
/// Of a block: service, memory, three bytes of address, count.
constexpr std::size_t kBlockHeader = 6;

Bytes BytesOrNone(const std::shared_ptr<ByteString>& record) {
  return record ? BytesOf(*record) : Bytes{};
}

Identification IdentificationOf(const std::shared_ptr<ByteString>& record,
                                const ByteStringArray& history,
                                const ByteStringArray& reprogramming) {
  Identification identification;
  identification.record = BytesOrNone(record);
  for (std::size_t i = 0; i < history.size() && history[i]; ++i) {
    identification.entries.push_back({BytesOrNone(history[i]), BytesOrNone(reprogramming[i])});
  }
  return identification;
}

/// A record that the ECU refuses ends the sequence, and that is no failure where the check finds
/// enough records.
std::optional<Identification::Refusal> RefusedRecord(const RunOutcome& outcome) {
  constexpr std::uint8_t kReadRecord = 0x21;
  if (outcome.status != RunStatus::kUnexpectedFrame || !outcome.response_code ||
      outcome.request.size() < 2 || outcome.request[0] != kReadRecord) {
    return std::nullopt;
  }
  return Identification::Refusal{outcome.request[1], *outcome.response_code};
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

/// Whether a failed start of the erase certainly left the memory alone: it was not sent, or
/// refused.
bool WasNotStarted(const Failure& failure) {
  return failure.cause == Cause::kCancelled
             ? !failure.service
             : failure.cause == Cause::kUnexpectedReply && failure.response_code.has_value();
}

bool IsAll(std::uint8_t value, ByteView bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [&](std::uint8_t byte) { return byte == value; });
}

/// A seed of zeros: the ECU needs no key.
bool SaysOpen(ByteView seed) { return !seed.empty() && IsAll(0, seed); }

Bytes ContentOf(const MemoryImage& image) {
  Bytes content;
  for (const auto& segment : image.Segments()) {
    const Bytes bytes = BytesOf(*segment);
    content.insert(content.end(), bytes.begin(), bytes.end());
  }
  return content;
}

}  // namespace

Session::Session(std::shared_ptr<Platform> platform, const ComponentFactory& create_component,
                 Bus& bus, const ProgrammerConfig& config, ProgressReporter& progress,
                 const SessionCallbacks& callbacks)
    : platform_(std::move(platform)),
      create_component_(create_component),
      config_(config),
      progress_(progress),
      block_size_(config.block_size),
      separation_time_(config.separation_time),
      reprog_(MakeReprog()),
      dialogue_(*platform_, reprog_, bus, config, progress, callbacks) {
  dialogue_.OnRequestDone([this](ByteView request) { OnRequestDone(request); });
  dialogue_.AskAboutBlocks(
      [this](const RequestTry& request_try) { return AfterUnansweredBlock(request_try.request); });
}

Session::~Session() {
  if (dialogue_.is_open()) {
    dialogue_.Abandon();
  }
}

std::shared_ptr<DiagOnCANReprog> Session::MakeReprog() const {
  std::shared_ptr<DiagOnCANReprog> reprog = create_component_(platform_);
  Configure(*reprog, config_);
  reprog->FlowControl(block_size_, separation_time_);
  return reprog;
}

Identification Session::Identify() {
  progress_.Begin(Phase::kIdentify);
  dialogue_.SetOpen(true);
  const Document document = reprog_->StartDiag();
  const RunOutcome outcome = dialogue_.Run(document);
  ByteStringArray history;
  ByteStringArray reprogramming;
  std::shared_ptr<ByteString> record;
  const std::optional<Error> error =
      ErrorOf([&] { reprog_->gethisto(document, history, reprogramming, record); });
  // D16.
  const bool only_without_history = config_.form == TransportForm::kKLine && record && error &&
                                    error->Number() == kNotReprogrammable;
  const std::optional<Identification::Refusal> refused = RefusedRecord(outcome);
  if ((!outcome.complete() && !refused) || (error && !only_without_history)) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, error));
  }
  if (config_.form == TransportForm::kGateway && outcome.complete()) {
    dialogue_.SetOpen(false);
  }
  Identification identification = IdentificationOf(record, history, reprogramming);
  identification.refused = refused;
  return identification;
}

void Session::AwaitConfirmation(const std::function<Programmer::Answer()>& confirm) {
  Programmer::Answer answer = confirm();
  for (; answer == Programmer::Answer::kNotYet; answer = confirm()) {
    dialogue_.KeepAliveUnlessStopped();
  }
  if (answer == Programmer::Answer::kNo) {
    dialogue_.Fail(Cause::kCancelled, "not confirmed");
  }
}

void Session::Unlock() {
  progress_.Begin(Phase::kUnlock);
  dialogue_.SetOpen(true);
  const Bytes seed = ReadSeed();
  if (SaysOpen(seed)) {
    return;
  }
  std::optional<RunOutcome> unanswered = SendKey(seed);
  if (!unanswered) {
    return;
  }
  // The key, or its answer, was lost. An ECU that took it says so by a seed of zeros; where the ECU
  // only seems to be open, the erase is refused. Another wrong key could cost the last attempt.
  const Bytes other_seed = ReadSeed();
  if (SaysOpen(other_seed) && other_seed.size() == seed.size()) {
    return;
  }
  const bool was_refused = unanswered->response_code.has_value();
  if (!was_refused && keys_ < kMostKeys) {
    unanswered = SendKey(other_seed);
  }
  if (unanswered) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), *unanswered, std::nullopt));
  }
}

bool Session::BeginAnew(const Failure& failure) {
  const bool may_be_mended =
      failure.cause == Cause::kSilence || failure.cause == Cause::kUnexpectedReply;
  if (!may_be_mended || failure.response_code || config_.repetition.most == 0 ||
      keys_ >= kMostKeys) {
    return false;
  }
  static_cast<void>(Identify());
  Unlock();
  return true;
}

Bytes Session::ReadSeed() {
  std::shared_ptr<ByteString> seed;
  dialogue_.Exchange(reprog_->readseed(),
                     [&](const Document& reply) { seed = reprog_->getseed(reply); });
  return BytesOf(*seed);
}

std::optional<RunOutcome> Session::SendKey(const Bytes& seed) {
  ++keys_;
  return dialogue_.ExchangeUnless(Remedy::kNewSeed, reprog_->dounlock(ByteStringOf(KeyOf(seed))),
                                  [&](const Document& reply) { reprog_->checkunlock(reply); });
}

void Session::Erase() {
  progress_.SetMemory(EcuMemory::kPerhapsErased);
  progress_.Begin(Phase::kErase);
  try {
    dialogue_.RunRoutine(
        {.start = [&] { return reprog_->starterase(config_.memory); },
         .check_start = [&](const Document& reply) { reprog_->checkstarterase(reply); },
         .ask = [&] { return reprog_->checkerase(); },
         .is_finished = [&](const Document& reply) { return reprog_->checkcheckerase(reply); }});
  } catch (const ProgrammingError& error) {
    if (!dialogue_.was_perhaps_started() && WasNotStarted(error.failure())) {
      progress_.SetMemory(EcuMemory::kUntouched);
    }
    throw;
  }
}

std::uint64_t Session::Download(const std::shared_ptr<MemoryImage>& image, std::uint64_t size) {
  progress_.SetMemory(EcuMemory::kPartlyWritten);
  progress_.Begin(Phase::kDownload, size);
  covered_ = 0;
  moved_ = 0;
  const auto segments = image->Segments();
  for (std::span rest(segments); !rest.empty();) {
    const auto part = rest.first(std::min(rest.size(), kSegmentsAtOnce));
    DownloadPart(ImageOf(part, *platform_));
    rest = rest.subspan(part.size());
  }
  progress_.SetMemory(EcuMemory::kWritten);
  return moved_;
}

void Session::DownloadPart(std::shared_ptr<MemoryImage> part) {
  const std::uint64_t end = covered_ + SizeOf(*part);
  while (part) {
    const std::optional<RunOutcome> broken_off =
        Stream(Transfer::Download(reprog_, config_.memory, part, config_.fill_byte,
                                  config_.alignment, config_.max_block),
               [&](const Document& reply) { reprog_->checkdownload(reply); });
    part = broken_off ? AdaptTo(*broken_off, *part) : nullptr;
    covered_ = part ? end - SizeOf(*part) : covered_;
  }
}

std::shared_ptr<MemoryImage> Session::AdaptTo(const RunOutcome& outcome, const MemoryImage& image) {
  const Failure failure = ExchangeFailure(progress_.phase(), outcome, std::nullopt);
  if (!config_.adapts_flow_control || has_adapted_ || !failure.address) {
    throw ProgrammingError(failure);
  }
  has_adapted_ = true;
  block_size_ = outcome.flow_control.value().block_size;
  separation_time_ = outcome.flow_control.value().separation_time;
  reprog_->FlowControl(block_size_, separation_time_);
  return RestOf(image, *failure.address, *platform_);
}

void Session::Check() {
  progress_.Begin(Phase::kCheck);
  const std::uint8_t routine = config_.check_routine;
  dialogue_.RunRoutine(
      {.start = [&] { return reprog_->startroutine(routine); },
       .check_start = [&](const Document& reply) { reprog_->checkstartroutine(reply, routine); },
       .ask = [&] { return reprog_->routinestatus(routine); },
       .is_finished =
           [&](const Document& reply) { return reprog_->checkroutine(reply, routine); }});
  progress_.SetMemory(EcuMemory::kChecked);
}

std::shared_ptr<MemoryImage> Session::Upload(const std::shared_ptr<MemoryMap>& map,
                                             std::uint64_t size, Phase phase) {
  progress_.Begin(phase, size);
  covered_ = 0;
  moved_ = 0;
  std::shared_ptr<MemoryImage> image = platform_->CreateMemoryImage();
  static_cast<void>(Stream(Transfer::Upload(reprog_, map, config_.memory),
                           [&](const Document& reply) { reprog_->checkupload(reply, image); }));
  dialogue_.WarnOfBelievedBlocks();
  return image;
}

bool Session::WriteLogZone() {
  if (!config_.log_record) {
    return true;
  }
  progress_.Begin(Phase::kLogZone);
  dialogue_.Exchange(reprog_->writelogzone(ByteStringOf(*config_.log_record)),
                     [&](const Document& reply) { reprog_->checkwritelogzone(reply); });
  return !dialogue_.log_record_is_unanswered();
}

void Session::Close() {
  if (!dialogue_.is_open()) {
    return;
  }
  progress_.Begin(Phase::kClose);
  dialogue_.Close();
}

Session::Document Session::NextDocument(Transfer& transfer) {
  constexpr std::chrono::milliseconds kLookUp{50};
  for (;;) {
    if (auto document = transfer.Next(kLookUp)) {
      return document;
    }
    if (transfer.state() != Transfer::State::kRunning) {
      return nullptr;
    }
    dialogue_.KeepAlive();
  }
}

std::optional<RunOutcome> Session::Stream(Transfer transfer, const Dialogue::CheckDocument& check) {
  const std::uint64_t before = covered_;
  while (const Document document = NextDocument(transfer)) {
    if (auto outcome = dialogue_.ExchangeUnless(Remedy::kAdapt, document, check)) {
      return outcome;
    }
    covered_ = before + transfer.covered();
    progress_.BytesDone(covered_);
  }
  if (transfer.error()) {
    throw Error(*transfer.error());
  }
  if (transfer.state() != Transfer::State::kComplete) {
    dialogue_.Fail(Cause::kIncomplete, "the transfer ended after " + std::to_string(covered_) +
                                           " of " + std::to_string(before + transfer.size()) +
                                           " bytes");
  }
  return std::nullopt;
}

NextMove Session::AfterUnansweredBlock(ByteView request) {
  const Bytes block(request.begin() + kBlockHeader,
                    request.begin() + kBlockHeader + request[kBlockHeader - 1]);
  const std::int32_t address = request[2] << 16 | request[3] << 8 | request[4];
  const Reading reading = ReadBack(address, static_cast<std::int32_t>(block.size()));
  if (reading.was_refused) {
    return NextMove::kRepeat;
  }
  if (reading.bytes == block) {
    return NextMove::kAccept;
  }
  const bool is_erased = reading.bytes.size() == block.size() &&
                         (IsAll(0xFF, reading.bytes) || IsAll(config_.fill_byte, reading.bytes));
  return is_erased ? NextMove::kRepeat : NextMove::kGoOn;
}

Session::Reading Session::ReadBack(std::int32_t address, std::int32_t count) {
  const std::shared_ptr<DiagOnCANReprog> reader = MakeReprog();
  const std::shared_ptr<MemoryMap> map = platform_->CreateMemoryMap();
  const std::shared_ptr<MemoryImage> image = platform_->CreateMemoryImage();
  map->AddRange(address, count);
  Transfer transfer = Transfer::Upload(reader, map, config_.memory);
  while (const Document document = NextDocument(transfer)) {
    const RunOutcome outcome = dialogue_.RunAside(document);
    const std::optional<Error> error = ErrorOf([&] { reader->checkupload(document, image); });
    if (!outcome.complete() || error) {
      return {.was_refused = outcome.response_code.has_value()};
    }
  }
  return {.bytes = ContentOf(*image)};
}

/// Counts the data of a block, so that a host sees a large document move.
void Session::OnRequestDone(ByteView request) {
  const std::uint8_t service =
      progress_.phase() == Phase::kDownload ? kDownloadService : kUploadService;
  if (request.size() < kBlockHeader || request[0] != service) {
    return;
  }
  moved_ += request[kBlockHeader - 1];
  progress_.BytesDone(std::max(covered_, moved_));
}

Bytes Session::KeyOf(const Bytes& seed) {
  if (!config_.key) {
    dialogue_.Fail(Cause::kKey, "there is no key function");
  }
  std::optional<Bytes> key = AskForKey(seed);
  for (; !key; key = AskForKey(seed)) {
    dialogue_.KeepAliveUnlessStopped();
  }
  if (!KeyFits(config_.form, key->size())) {
    dialogue_.Fail(Cause::kKey,
                   "a key of " + std::to_string(key->size()) + " bytes cannot be sent");
  }
  return *key;
}

std::optional<Bytes> Session::AskForKey(const Bytes& seed) const {
  try {
    return config_.key(seed);
  } catch (const std::exception& error) {
    dialogue_.Fail(Cause::kKey, std::string("no key for the seed: ") + error.what());
  }
}

std::shared_ptr<ByteString> Session::ByteStringOf(const Bytes& bytes) const {
  std::shared_ptr<ByteString> string = platform_->CreateByteString();
  string->SetHex(HexOf(bytes));
  return string;
}

}  // namespace quillmark::host

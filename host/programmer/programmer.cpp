// SPDX-License-Identifier: MIT
#include "quillmark/host/programmer.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/programmer/failure.h"
#include "host/programmer/image_parts.h"
#include "host/programmer/progress_reporter.h"
#include "host/programmer/session.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/forwarding_platform.h"
#include "quillmark/host/bytes.h"
#include "quillmark/platform.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

class FunctionCalculator final : public ChecksumCalculator {
 public:
  explicit FunctionCalculator(BlockChecksum checksum) : checksum_(std::move(checksum)) {}

  void Reset() override { bytes_.clear(); }

  void Add(const ByteString& data) override {
    data.ReadBytes(
        [this](ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); });
  }

  void StoreInto(ByteString& block) override {
    if (block.Length() < 2) {
      throw Error(error_number::kSubscriptOutOfRange);
    }
    const std::uint16_t checksum = checksum_(bytes_);
    const std::int32_t last = block.EndAddress();
    block.SetItem(last - 1, static_cast<std::uint8_t>(checksum >> 8U));
    block.SetItem(last, static_cast<std::uint8_t>(checksum & 0xFFU));
  }

 private:
  BlockChecksum checksum_;
  Bytes bytes_;
};

class ChecksumPlatform final : public ForwardingPlatform {
 public:
  ChecksumPlatform(const std::shared_ptr<PortablePlatform>& portable, BlockChecksum checksum)
      : ForwardingPlatform(portable), checksum_(std::move(checksum)) {}

  std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return std::make_shared<FunctionCalculator>(checksum_);
  }

 private:
  BlockChecksum checksum_;
};

/// A portable platform of its own whose checksum calculators, those of its workers too, use
/// `checksum`.
std::shared_ptr<Platform> CreateChecksumPlatform(BlockChecksum checksum) {
  const auto portable = CreatePortablePlatform();
  auto platform = std::make_shared<ChecksumPlatform>(portable, std::move(checksum));
  // A worker would get the types of the portable platform otherwise. While it runs, its client
  // keeps the platform alive.
  portable->RegisterClass(std::string(DiagOnCANReprog::kProgID),
                          [weak = std::weak_ptr<Platform>(platform)](const auto& /*portable*/) {
                            return CreateDiagOnCANReprog(weak.lock());
                          });
  return platform;
}

constexpr std::size_t kLogRecordSize = 48;
constexpr std::int32_t kLastIdentifier = 0x1FFFFFFF;

bool Within(std::int32_t value, std::int32_t least, std::int32_t most) {
  return value >= least && value <= most;
}

bool IsGatewayAddress(std::int32_t address) { return address == 0x6E || address == 0x7A; }

void Demand(bool holds, const char* what) {
  if (!holds) {
    throw std::invalid_argument(what);
  }
}

void CheckAddressing(const ProgrammerConfig& config) {
  switch (config.form) {
    case TransportForm::kPlainCan:
      Demand(Within(config.receive_id, 1, kLastIdentifier) &&
                 Within(config.send_id, 1, kLastIdentifier),
             "a CAN identifier must be 1 to 0x1FFFFFFF");
      return Demand(config.receive_id != config.send_id, "the two CAN identifiers must differ");
    case TransportForm::kGateway:
      return Demand(IsGatewayAddress(config.address),
                    "an address behind the gateway must be 0x6E or 0x7A");
    default:
      return Demand(Within(config.address, 0, 0xFF) && !IsGatewayAddress(config.address),
                    "an address on the K line must be 0 to 0xFF, but not 0x6E or 0x7A");
  }
}

ProgrammerConfig Checked(ProgrammerConfig config) {
  CheckAddressing(config);
  Demand(Within(config.block_size, 0, 255), "the block size must be 0 to 255");
  Demand(Within(config.separation_time, 0, 255), "the separation time must be 0 to 255 ms");
  Demand(config.repetition.most >= 0, "a request cannot be repeated less than 0 times");
  Demand(config.alignment >= 1, "the alignment must be at least 1");
  Demand(config.tester_present_interval.count() >= 1, "tester present needs an interval");
  const bool plain_can = config.form == TransportForm::kPlainCan;
  Demand(Within(config.max_block, 1, plain_can ? 255 : 247),
         "a block must have 1 to 255 bytes, in gateway and K form at most 247");
  Demand(!config.log_record || config.log_record->size() == kLogRecordSize,
         "a log record must have 48 bytes");
  return config;
}

[[noreturn]] void FailForDifferences(const Comparison& comparison) {
  Failure failure;
  failure.phase = Phase::kVerify;
  failure.cause = Cause::kDifference;
  failure.differences = comparison.differences;
  failure.different_bytes = comparison.different_bytes;
  const Difference& first = comparison.differences.front();
  failure.address = first.address;
  failure.text = (comparison.different_bytes == 1
                      ? "1 byte differs"
                      : std::to_string(comparison.different_bytes) + " bytes differ") +
                 " from the image; here the ECU holds " +
                 (first.found ? HexOf(Bytes{*first.found}) : "nothing") + ", not " +
                 HexOf(Bytes{first.expected});
  throw ProgrammingError(failure);
}

template <typename Object>
const Object& Required(const std::shared_ptr<Object>& object, const char* name) {
  if (!object) {
    Failure failure;
    failure.text = std::string("there is no ") + name;
    throw ProgrammingError(failure);
  }
  return *object;
}

/// Reads what is to be erased; once in a new session where the ECU does not answer in this one.
std::shared_ptr<MemoryImage> BackUpIn(Session& session, const std::shared_ptr<MemoryMap>& map,
                                      std::uint64_t size) {
  try {
    return session.Upload(map, size, Phase::kBackup);
  } catch (const ProgrammingError& error) {
    if (!session.BeginAnew(error.failure())) {
      throw;
    }
  }
  return session.Upload(map, size, Phase::kBackup);
}

}  // namespace

void Configure(DiagOnCANReprog& reprog, const ProgrammerConfig& config) {
  const bool by_identifiers = config.form == TransportForm::kPlainCan;
  reprog.CANIDs(by_identifiers ? config.receive_id : 0,
                by_identifiers ? config.send_id : config.address);
  reprog.FlowControl(config.block_size, config.separation_time);
}

Programmer::Programmer(std::shared_ptr<Platform> platform, Bus& bus, ProgrammerConfig config,
                       ComponentFactory create_component)
    : platform_(std::move(platform)),
      bus_(bus),
      config_(Checked(std::move(config))),
      create_component_(std::move(create_component)) {
  Demand(platform_ != nullptr, "there is no platform");
  if (config_.checksum) {
    platform_ = CreateChecksumPlatform(config_.checksum);
  }
}

void Programmer::OnProgress(std::function<void(const Progress&)> on_progress) {
  on_progress_ = std::move(on_progress);
}

void Programmer::OnStopRequested(std::function<bool()> stop_requested) {
  stop_requested_ = std::move(stop_requested);
}

void Programmer::OnDocument(std::function<void(const DocumentRun&)> on_document) {
  on_document_ = std::move(on_document);
}

void Programmer::OnIdentified(std::function<void(const Identification&)> on_identified) {
  on_identified_ = std::move(on_identified);
}

void Programmer::OnWarning(std::function<void(const std::string&)> on_warning) {
  on_warning_ = std::move(on_warning);
}

/// A session that `work` leaves open because it fails closes itself.
template <typename Work>
auto Programmer::InSession(Work work) {
  ProgressReporter progress(bus_, on_progress_);
  try {
    Session session(platform_, create_component_, bus_, config_, progress,
                    {stop_requested_, on_document_, on_warning_});
    return work(session, progress);
  } catch (const ProgrammingError& error) {
    throw ProgrammingError(progress.WithState(error.failure()));
  } catch (const BusError& error) {
    throw ProgrammingError(progress.WithState(BusFailure(progress.phase(), error.what())));
  } catch (const Error& error) {
    Failure failure = progress.WithState({});
    failure.phase = progress.phase();
    failure.cause = Cause::kComponent;
    failure.number = error.Number();
    failure.text = error.Description();
    throw ProgrammingError(failure);
  }
}

void Programmer::OnReadBack(std::function<void(const MemoryImage&)> on_read_back) {
  on_read_back_ = std::move(on_read_back);
}

Identification Programmer::Identify() {
  return InSession([this](Session& session, ProgressReporter&) {
    Identification identification = IdentifyIn(session);
    session.Close();
    return identification;
  });
}

ProgramResult Programmer::Program(const std::shared_ptr<MemoryImage>& image,
                                  const ProgramOptions& options) {
  ProgramResult result;
  result.image_bytes = CheckedSize(Required(image, "image"));
  InSession([&](Session& session, ProgressReporter& progress) {
    result.identification = IdentifyIn(session);
    if (options.confirm) {
      session.AwaitConfirmation([&] { return options.confirm(result.identification); });
    }
    session.Unlock();
    if (options.backup) {
      options.backup(*BackUpIn(session, MapOf(*image), result.image_bytes));
    }
    session.Erase();
    result.sent_bytes = session.Download(image, result.image_bytes);
    result.download_time = progress.PhaseTime();
    session.Check();
    if (options.verify) {
      result.verified_bytes = VerifyIn(session, *image, result.image_bytes);
    }
    result.log_record_is_unanswered = !session.WriteLogZone();
    session.Close();
    result.repeated = progress.progress().repeated;
    result.passed_over = progress.progress().passed_over;
    result.total_time = progress.TotalTime();
  });
  return result;
}

std::shared_ptr<MemoryImage> Programmer::Read(const std::shared_ptr<MemoryMap>& map) {
  const std::uint64_t size = CheckedSize(Required(map, "map"));
  return InSession([&](Session& session, ProgressReporter&) {
    static_cast<void>(IdentifyIn(session));
    session.Unlock();
    std::shared_ptr<MemoryImage> image = session.Upload(map, size, Phase::kUpload);
    session.Close();
    return image;
  });
}

ProgramResult Programmer::Verify(const std::shared_ptr<MemoryImage>& image) {
  ProgramResult result;
  result.image_bytes = CheckedSize(Required(image, "image"));
  InSession([&](Session& session, ProgressReporter& progress) {
    result.identification = IdentifyIn(session);
    session.Unlock();
    result.verified_bytes = VerifyIn(session, *image, result.image_bytes);
    session.Close();
    result.repeated = progress.progress().repeated;
    result.passed_over = progress.progress().passed_over;
    result.total_time = progress.TotalTime();
  });
  return result;
}

Identification Programmer::IdentifyIn(Session& session) const {
  Identification identification = session.Identify();
  if (on_warning_ && identification.refused && !identification.refused->MeansNoRecord()) {
    on_warning_(HistoryEndText(*identification.refused));
  }
  if (on_identified_) {
    on_identified_(identification);
  }
  return identification;
}

/// Reads the addresses of `image` back; returns the number of bytes found equal.
std::uint64_t Programmer::VerifyIn(Session& session, const MemoryImage& image,
                                   std::uint64_t size) const {
  const std::shared_ptr<MemoryImage> found = session.Upload(MapOf(image), size, Phase::kVerify);
  if (on_read_back_) {
    on_read_back_(*found);
  }
  const Comparison comparison = Compare(image, *found);
  if (comparison.different_bytes != 0) {
    FailForDifferences(comparison);
  }
  return comparison.equal_bytes;
}

std::shared_ptr<MemoryMap> Programmer::MapOf(const MemoryImage& image) const {
  std::shared_ptr<MemoryMap> map = platform_->CreateMemoryMap();
  for (const auto& segment : image.Segments()) {
    map->AddRange(segment->StartAddress(), segment->Length());
  }
  return map;
}

}  // namespace quillmark::host

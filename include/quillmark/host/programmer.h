// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/runner.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// The phases of a session with the ECU, in the order of a whole reprogramming.
enum class Phase : std::uint8_t {
  kPrepare,   ///< checking the arguments; nothing has been sent
  kIdentify,  ///< opening the session, reading identification and history
  kUnlock,    ///< security access
  kBackup,    ///< reading back what is about to be erased
  kErase,     ///< starting the erase and polling it
  kDownload,  ///< writing the image
  kCheck,     ///< the ECU's check routine, started and polled
  kUpload,    ///< reading memory
  kVerify,    ///< reading memory back and comparing it
  kLogZone,   ///< writing the log record
  kClose,     ///< stop communication
};

/// "prepare", "identify", … for messages and logs.
[[nodiscard]] QUILLMARK_API std::string_view NameOf(Phase phase);

/// The cause of a failure.
enum class Cause : std::uint8_t {
  kArgument,         ///< an argument that cannot be used; the ECU was not touched
  kSilence,          ///< the ECU did not answer
  kUnexpectedReply,  ///< it answered, but not as it should (see `response_code`)
  kStillBusy,        ///< it kept saying "pending", or a poll did not end in time
  kBus,              ///< the bus failed
  kComponent,        ///< the component raised an error that no reply explains
  kKey,              ///< the key function failed or gave an unusable key
  kIncomplete,       ///< the transfer worker ended before all bytes were computed
  kDifference,       ///< memory differs from the image
  kCancelled,        ///< the host asked to stop
};

/// A byte of memory that differs from the image.
struct Difference {
  std::uint32_t address = 0;  ///< 0 to 0xFFFFFF
  std::uint8_t expected = 0;  ///< the byte of the image
  /// The byte of the ECU. Nothing if the ECU sent no byte for this address.
  std::optional<std::uint8_t> found{};

  friend bool operator==(const Difference&, const Difference&) = default;
};

/// What a call has done to the memory of the ECU.
enum class EcuMemory : std::uint8_t {
  kUntouched,      ///< nothing was erased
  kPerhapsErased,  ///< the erase was begun, its end was not seen
  kPartlyWritten,  ///< erased, and the download was begun
  kWritten,        ///< every block was taken
  kChecked,        ///< and the check routine found the memory right
};

/// Why and where a call failed, and the state in which it leaves the ECU.
struct Failure {
  Phase phase = Phase::kPrepare;   ///< the phase that failed
  Cause cause = Cause::kArgument;  ///< what kind of failure it is, for a program to act on
  /// Number of the component's error; 0 if the host found the failure by itself.
  std::int32_t number = 0;
  /// What happened, in words, from the error of the component, the runner or the host.
  std::string text{};
  /// The address concerned: of the block that failed, of the first difference.
  std::optional<std::uint32_t> address{};
  /// The code of the ECU's negative response. 0x36 and 0x37 forbid another attempt with a key.
  std::optional<std::uint8_t> response_code{};
  /// The service of the request that failed; nothing if no request did.
  std::optional<std::uint8_t> service{};
  /// The step of its document that failed, counted from 1; 0 if none did.
  std::size_t document_step = 0;
  /// The first differing bytes, at most 16.
  std::vector<Difference> differences{};
  /// How many bytes differ in all.
  std::uint64_t different_bytes = 0;

  /// What the call has done to the ECU's memory.
  EcuMemory memory = EcuMemory::kUntouched;
  /// `kPartlyWritten`: the bytes of the image that the ECU has confirmed, including fill.
  std::uint64_t written_bytes = 0;
  /// `kPartlyWritten`: the bytes of the image in all.
  std::uint64_t image_bytes = 0;
  /// Whether the ECU's session may still be open.
  bool session_open = false;
  std::uint32_t repeated = 0;     ///< as in Progress
  std::uint32_t passed_over = 0;  ///< as in Progress
  /// Where the host keeps what the memory held before, for the advice; empty if it does not. The
  /// host sets it: a programmer does not know what `ProgramOptions::backup` does.
  std::string backup{};
};

/// Everything that a Programmer raises, beside what the host's own functions raise. `what` is a
/// complete sentence for a user.
class QUILLMARK_API ProgrammingError : public std::exception {
 public:
  /// Makes the sentence out of the phase, the address, the text and the number.
  explicit ProgrammingError(Failure failure);

  /// The parts of the failure; valid as long as the exception exists.
  [[nodiscard]] const Failure& failure() const noexcept { return failure_; }
  /// "download at 0x008000: …"; valid as long as the exception exists.
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

 private:
  Failure failure_;
  std::string message_;
};

/// One entry of an ECU's history: two records of 24 bytes.
struct HistoryEntry {
  Bytes history{};        ///< the history record; empty if the ECU sent none
  Bytes reprogramming{};  ///< the reprogramming record; empty if the ECU sent none
};

/// What an ECU says about itself, 24 bytes per record.
struct Identification {
  /// The identification record.
  Bytes record{};
  /// Up to eight, the first the ECU's entry 0. On a K line the component reads no history: at most
  /// the first history record is present.
  std::vector<HistoryEntry> entries{};

  /// The record that the ECU refused, and with which code. What comes after it was not asked for.
  struct Refusal {
    std::uint8_t record = 0;         ///< its local identifier
    std::uint8_t response_code = 0;  ///< of the ECU's negative response

    /// Whether the code says that there is no such record, rather than why it cannot be read now.
    [[nodiscard]] bool MeansNoRecord() const;
  };
  /// Nothing if every record that was asked for came.
  std::optional<Refusal> refused{};
};

/// Makes the component object of a session. A host that does not link the component passes its own
/// function.
using ComponentFactory =
    std::function<std::shared_ptr<DiagOnCANReprog>(const std::shared_ptr<Platform>&)>;

/// Computes the key of a seed. Nothing means that it is not ready yet: the function is called again
/// with the same seed, and the session is kept alive meanwhile, so a call should not take longer
/// than a second. May throw, which fails the phase `kUnlock`.
using KeyFunction = std::function<std::optional<Bytes>(const Bytes& seed)>;

/// How often and for how long requests are repeated.
struct RepetitionLimits {
  /// Repetitions of a request after silence, damage or a checksum error; 0: nothing is repeated.
  int most = 2;
  /// After negative response 21, busy, repeat request: how soon the request is sent again.
  std::chrono::milliseconds busy_interval{200};
  /// For how long the ECU may answer a request in this way.
  std::chrono::milliseconds busy_limit{25'000};
};

/// How an ECU is reached, and what a Programmer needs to know of it. The members without a
/// meaningful default, an address and `memory` above all, depend on the ECU.
struct ProgrammerConfig {
  /// How messages travel. It decides which of the next three members are used.
  TransportForm form = TransportForm::kPlainCan;
  /// Plain CAN: the identifier that the ECU sends on, 1 to 0x1FFFFFFF; above 0x7FF an extended one.
  std::int32_t receive_id = 0;
  /// Plain CAN: the identifier that the ECU listens to, in the same range, another one.
  std::int32_t send_id = 0;
  /// Gateway: 0x6E or 0x7A. K line: any other of 0 to 255.
  std::int32_t address = 0;

  /// ISO 15765-2 flow control of the ECU: the frames that it takes before it sends the next one, 0
  /// to 255; 0 means all frames of a message.
  std::int32_t block_size = 1;
  /// The pause between two such frames in milliseconds, 0 to 255.
  std::int32_t separation_time = 0;
  /// Where the ECU asks for another flow control, a download adapts to it, once.
  bool adapts_flow_control = true;

  /// The memory that is erased, written and read (`RL`).
  std::uint8_t memory = 0;
  /// Local identifier of the routine that checks it.
  std::uint8_t check_routine = 0;

  /// Runs of this byte are not sent: what the memory holds after the erase.
  std::uint8_t fill_byte = 0xFF;
  /// The unit of such runs in bytes (`IMod`), at least 1.
  std::int32_t alignment = 16;
  /// Data bytes of a block (`MaxSize`): 1 to 255, in gateway and K line form to 247.
  std::int32_t max_block = 128;

  /// The checksum of the ECU's blocks. Nothing: that of the platform's ChecksumCalculator. With it,
  /// transfers run on a portable platform of the programmer's own; it is called on their threads,
  /// on several at once where the function is shared.
  BlockChecksum checksum{};

  /// The 48 bytes of the log record. Nothing: no log zone is written.
  std::optional<Bytes> log_record{};

  /// Makes the key of security access. Only `Programmer::Identify` does without.
  KeyFunction key{};

  /// How long the tester waits for the ECU.
  RunnerTiming timing{};
  /// How often and for how long requests are repeated.
  RepetitionLimits repetition{};
  /// The pause between two polls of the erase and of the check routine.
  std::chrono::milliseconds poll_interval{100};
  /// After so long without a request tester present is sent, while a session is open and the host
  /// itself pauses: S3 of the tester, at least 1 ms.
  std::chrono::milliseconds tester_present_interval{2000};
  /// How long the erase and the check routine may stay busy.
  std::chrono::milliseconds busy_limit{120'000};
};

/// How far a call is.
struct Progress {
  /// The phase that the call is in.
  Phase phase = Phase::kPrepare;
  /// Bytes of the image or of the ranges that are transferred, including fill bytes.
  std::uint64_t bytes_done = 0;
  /// How many there are in all; 0 in a phase that transfers none.
  std::uint64_t bytes_total = 0;
  /// Time of the bus (simulated on a simulated bus) since the phase began.
  Duration phase_time{};
  /// The same since the call began.
  Duration total_time{};
  /// What would become of the ECU's memory if the call ended here.
  EcuMemory memory = EcuMemory::kUntouched;
  /// How often a request was sent again since the call began.
  std::uint32_t repeated = 0;
  /// Frames that answered nothing since the call began.
  std::uint32_t passed_over = 0;
};

/// A document that a programmer runs: before the run, and after it with the result.
struct DocumentRun {
  /// The phase that it belongs to.
  Phase phase = Phase::kPrepare;
  /// Valid during the callback only.
  const DOMDocument& document;
  /// How the run ended, valid as the document is. Null before the run.
  const RunOutcome* outcome = nullptr;
};

/// What a complete reprogramming did, or a verification by itself, which sends nothing.
struct ProgramResult {
  /// What the ECU said about itself before anything was changed.
  Identification identification{};
  /// Bytes of the image.
  std::uint64_t image_bytes = 0;
  /// How many of them were sent; the rest is fill.
  std::uint64_t sent_bytes = 0;
  /// Bytes read back and found equal; 0 without verification.
  std::uint64_t verified_bytes = 0;
  /// The log record was sent, but its answer did not come: whether it is written is not known.
  bool log_record_is_unanswered = false;
  std::uint32_t repeated = 0;     ///< as in Progress
  std::uint32_t passed_over = 0;  ///< as in Progress
  /// Time of the bus that the phase `kDownload` took.
  Duration download_time{};
  /// Time of the bus that the call took.
  Duration total_time{};
};

class Session;

/// Drives whole sessions with one ECU: it asks the component for request documents, runs them on
/// the bus and lets the component check them.
///
///     SimulatedEcu ecu(options);
///     SimulatedBus bus(ecu);
///     Programmer programmer(CreatePortablePlatform(), bus, config);
///     programmer.OnProgress([](const Progress& progress) { … });
///     programmer.OnStopRequested([] { return interrupted != 0; });
///     try {
///       const ProgramResult result = programmer.Program(image, {.verify = true});
///     } catch (const ProgrammingError& error) {
///       std::cerr << error.what() << '\n';  // error.failure() has the parts
///     }
///
/// A call that returns has done everything it promises; anything else is a ProgrammingError. What a
/// function of the host raises passes through, unless its comment says otherwise. After a failure
/// or a cancellation, the transfer worker has been told to stop and the session with the ECU has
/// been closed, as far as the ECU still answers; the programmer can be used for the next call. A
/// worker may outlive the call for a moment: a host that needs it to have ended, for example before
/// its process ends, calls `PortablePlatform::WaitForWorkers`.
///
/// Threads: used by one thread at a time. The bus and the host's functions are used on that
/// thread only, a block checksum aside: the transfer worker just passes its documents on, and
/// computes the next one while the bus is busy with the last.
class QUILLMARK_API Programmer {
 public:
  /// Whether an identified ECU is to be programmed.
  enum class Answer : std::uint8_t {
    kNotYet,  ///< ask again
    kYes,     ///< go on
    kNo,      ///< cancel, with the ECU untouched
  };

  /// What `Program` does beside what it always does.
  struct ProgramOptions {
    /// Upload what was written and compare it, before the log zone is written.
    bool verify = false;
    /// Asked after the ECU has been identified and before anything is changed, and repeatedly while
    /// the answer is `kNotYet`. The session is kept alive meanwhile, so a call should not take
    /// longer than a second. `kNo` cancels. Without this function the answer is yes.
    std::function<Answer(const Identification&)> confirm{};
    /// Receives what the addresses of the image hold before they are erased. An exception ends the
    /// call before anything is erased.
    std::function<void(const MemoryImage&)> backup{};
  };

  /// `bus` must outlive the programmer. Raises std::invalid_argument with a text that names the
  /// setting for a configuration that cannot work.
  Programmer(std::shared_ptr<Platform> platform, Bus& bus, ProgrammerConfig config,
             ComponentFactory create_component = CreateDiagOnCANReprog);
  Programmer(const Programmer&) = delete;
  Programmer& operator=(const Programmer&) = delete;
  Programmer(Programmer&&) = delete;
  Programmer& operator=(Programmer&&) = delete;
  ~Programmer() = default;

  /// Called when a phase begins and when bytes have been transferred.
  void OnProgress(std::function<void(const Progress&)> on_progress);

  /// Asked before every request; true cancels the call (`Cause::kCancelled`). It is read on the
  /// calling thread, so a signal handler or another thread only needs to set a flag.
  void OnStopRequested(std::function<bool()> stop_requested);

  /// Called with every document right before and right after its run. Must not throw.
  void OnDocument(std::function<void(const DocumentRun&)> on_document);

  /// Called with a sentence about what a user should know, though the call goes on.
  void OnWarning(std::function<void(const std::string&)> on_warning);

  /// Called as soon as an ECU has been identified, before anything is asked of its key function.
  void OnIdentified(std::function<void(const Identification&)> on_identified);

  /// Called with what a verification has read back, before it is compared.
  void OnReadBack(std::function<void(const MemoryImage&)> on_read_back);

  /// Opens a session, reads identification and history, and closes it.
  [[nodiscard]] Identification Identify();

  /// Identify, unlock, backup if requested, erase, download, check routine, verification if
  /// requested, log zone, stop communication. Raises ProgrammingError, `Cause::kArgument` for an
  /// image without bytes, with overlapping segments or with addresses outside 0..0xFFFFFF.
  ProgramResult Program(const std::shared_ptr<MemoryImage>& image, const ProgramOptions& options);

  /// Identify, unlock, upload of the ranges, stop communication. The image has one segment per
  /// reply (up to 48 bytes), in address order. Ranges are refused under the same conditions as
  /// segments.
  [[nodiscard]] std::shared_ptr<MemoryImage> Read(const std::shared_ptr<MemoryMap>& map);

  /// Reads back all addresses of `image` and compares, in a session of its own. A difference is a
  /// ProgrammingError (`Cause::kDifference`).
  ProgramResult Verify(const std::shared_ptr<MemoryImage>& image);

 private:
  template <typename Work>
  auto InSession(Work work);
  [[nodiscard]] Identification IdentifyIn(Session& session) const;
  [[nodiscard]] std::shared_ptr<MemoryMap> MapOf(const MemoryImage& image) const;
  std::uint64_t VerifyIn(Session& session, const MemoryImage& image, std::uint64_t size) const;

  std::shared_ptr<Platform> platform_;
  Bus& bus_;
  ProgrammerConfig config_;
  ComponentFactory create_component_;
  std::function<void(const Progress&)> on_progress_;
  std::function<bool()> stop_requested_;
  std::function<void(const DocumentRun&)> on_document_;
  std::function<void(const Identification&)> on_identified_;
  std::function<void(const std::string&)> on_warning_;
  std::function<void(const MemoryImage&)> on_read_back_;
};

/// Where in a session it failed: "download, service 34, step 52 of the document".
[[nodiscard]] QUILLMARK_API std::string StepText(const Failure& failure);

/// The state that the ECU is probably in, for its user.
[[nodiscard]] QUILLMARK_API std::string EcuStateText(const Failure& failure);

/// What to do next.
[[nodiscard]] QUILLMARK_API std::string AdviceText(const Failure& failure);

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "host/ecu/programming_services.h"
#include "host/ecu/records.h"
#include "host/ecu/security_access.h"
#include "host/ecu/transport.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// The diagnostic application of the simulated ECU: sessions, the services and what each of them
/// demands. A session that the tester leaves alone lapses; whatever ends a session takes security
/// access and running routines with it.
class Application : public MessageHandler {
 public:
  /// Raises std::invalid_argument for inconsistent options.
  explicit Application(const EcuOptions& options);

  std::vector<TimedMessage> OnRequest(ByteView request, Duration now) override;
  [[nodiscard]] bool InSession(Duration now) const override;

  /// Refuses the next request with `code`, and does not execute it; nothing: accepts it again.
  void RefuseNext(std::optional<std::uint8_t> code) { refuse_next_ = code; }

  /// Forgets what a power failure takes: session, security access and running routines. Flash
  /// memory, records and counted wrong keys stay.
  void Reset();

  [[nodiscard]] const FlashMemory& flash() const { return programming_.flash(); }
  [[nodiscard]] const Records& records() const { return records_; }
  /// Blocks that were written into the flash since the ECU was made.
  [[nodiscard]] std::uint32_t blocks_written() const { return programming_.blocks(); }

 private:
  /// In plain CAN form the default session answers little; in the two other forms it is the state
  /// without communication and answers 81 alone. In these, 81 opens the programming session.
  enum class Session : std::uint8_t { kDefault, kDiagnostic, kProgramming };

  [[nodiscard]] Bytes ReplyTo(ByteView request, Duration now);
  /// Raises Refusal where the ECU is to refuse a request of this service, whatever it asks for.
  void RefuseIfToldTo(std::uint8_t service);
  [[nodiscard]] Bytes PositiveReplyTo(ByteView request, Duration now);
  [[nodiscard]] Bytes OnSessionControl(ByteView request);
  [[nodiscard]] Bytes OnCommunication(ByteView request);
  [[nodiscard]] Bytes OnTesterPresent(ByteView request) const;
  [[nodiscard]] Bytes OnReadRecord(ByteView request) const;
  [[nodiscard]] Bytes OnProgramming(ByteView request, Duration now);
  std::vector<TimedMessage> Schedule(std::uint8_t service, Bytes reply, Duration now);
  void Enter(Session session);
  void Require(Session session) const;

  TransportForm form_;
  EcuTiming timing_;
  std::map<std::uint8_t, int> pending_;
  std::map<std::uint8_t, int> busy_;
  std::map<std::uint8_t, std::uint8_t> refused_;
  std::optional<std::uint8_t> refuse_next_;
  Records records_;
  SecurityAccess security_;
  ProgrammingServices programming_;
  Session session_ = Session::kDefault;
  Duration lapses_at_{};
};

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "component/diag_on_can_reprog.h"

#include <array>
#include <utility>

#include "base/guards.h"
#include "component/memory_guard.h"
#include "services/erase_and_routines.h"
#include "services/history.h"
#include "services/log_zone.h"
#include "services/security_access.h"
#include "services/session_control.h"
#include "transfer/download_worker.h"
#include "transfer/transfer_checks.h"
#include "transfer/transfer_documents.h"
#include "transfer/upload_worker.h"

namespace quillmark {
namespace {

/// Tells the client that a failed run has ended. Exceptions of the client are ignored: there is
/// nobody left to receive them.
void EndAfterError(XMLDocClient& client) noexcept {
  try {
    client.XMLReady(nullptr);
  } catch (...) {
    return;
  }
}

}  // namespace

DiagOnCANReprogImplementation::DiagOnCANReprogImplementation(std::shared_ptr<Platform> platform)
    : context_(std::move(platform)) {}

void DiagOnCANReprogImplementation::CANIDs(std::int32_t RCANId, std::int32_t XCANId) {
  GuardMemory([&] { context_.CANIDs(RCANId, XCANId); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::StartDiag() {
  return GuardMemory([&] { return services::StartDiag(context_); });
}

void DiagOnCANReprogImplementation::gethisto(const std::shared_ptr<DOMDocument>& root,
                                             ByteStringArray& RepHisto, ByteStringArray& RepReprog,
                                             std::shared_ptr<ByteString>& RepIdent) {
  GuardMemory([&] { services::gethisto(context_, root, RepHisto, RepReprog, RepIdent); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::readseed() {
  return GuardMemory([&] { return services::readseed(context_); });
}

std::shared_ptr<ByteString> DiagOnCANReprogImplementation::getseed(
    const std::shared_ptr<DOMDocument>& root) {
  return GuardMemory([&] { return services::getseed(context_, root); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::dounlock(
    const std::shared_ptr<ByteString>& key) {
  return GuardMemory([&] { return services::dounlock(context_, key); });
}

void DiagOnCANReprogImplementation::checkunlock(const std::shared_ptr<DOMDocument>& root) {
  GuardMemory([&] { services::checkunlock(context_, root); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::starterase(std::uint8_t RL) {
  return GuardMemory([&] { return services::starterase(context_, RL); });
}

void DiagOnCANReprogImplementation::checkstarterase(const std::shared_ptr<DOMDocument>& root) {
  GuardMemory([&] { services::checkstarterase(context_, root); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::checkerase() {
  return GuardMemory([&] { return services::checkerase(context_); });
}

bool DiagOnCANReprogImplementation::checkcheckerase(const std::shared_ptr<DOMDocument>& root) {
  return GuardMemory([&] { return services::checkcheckerase(context_, root); });
}

void DiagOnCANReprogImplementation::checkdownload(const std::shared_ptr<DOMDocument>& root) {
  GuardMemory([&] { transfer::checkdownload(root); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::startroutine(std::uint8_t Routine) {
  return GuardMemory([&] { return services::startroutine(context_, Routine); });
}

void DiagOnCANReprogImplementation::checkstartroutine(const std::shared_ptr<DOMDocument>& root,
                                                      std::uint8_t Routine) {
  GuardMemory([&] { services::checkstartroutine(context_, root, Routine); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::routinestatus(std::uint8_t Routine) {
  return GuardMemory([&] { return services::routinestatus(context_, Routine); });
}

bool DiagOnCANReprogImplementation::checkroutine(const std::shared_ptr<DOMDocument>& root,
                                                 std::uint8_t Routine) {
  return GuardMemory([&] { return services::checkroutine(context_, root, Routine); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::writelogzone(
    const std::shared_ptr<ByteString>& Histo) {
  return GuardMemory([&] { return services::writelogzone(context_, Histo); });
}

void DiagOnCANReprogImplementation::checkwritelogzone(const std::shared_ptr<DOMDocument>& root) {
  GuardMemory([&] { services::checkwritelogzone(root); });
}

void DiagOnCANReprogImplementation::checkupload(const std::shared_ptr<DOMDocument>& root,
                                                const std::shared_ptr<MemoryImage>& Image) {
  GuardMemory([&] { transfer::checkupload(context_, root, Image); });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::stopcomm() {
  return GuardMemory([&] { return services::stopcomm(context_); });
}

void DiagOnCANReprogImplementation::ComputeDownload(std::uint8_t RL,
                                                    const std::shared_ptr<MemoryImage>& Image,
                                                    std::uint8_t FillByte, std::int32_t IMod,
                                                    std::int32_t MaxSize) {
  GuardMemory([&] {
    const Context::Identifiers identifiers = context_.ConfiguredIdentifiers();
    transfer::RequireBlockSize(MaxSize);
    const auto document = transfer::WriteImage(context_.GetPlatform(), Require(Image));
    const FlowControlSettings& flow_control = context_.GetFlowControl();
    StartWorker(std::array<Parameter, 9>{&identifiers.receive, &identifiers.send, &document, &RL,
                                         &FillByte, &IMod, &MaxSize, &flow_control.block_size,
                                         &flow_control.separation_time});
  });
}

void DiagOnCANReprogImplementation::ComputeUpload(const std::shared_ptr<MemoryMap>& Map,
                                                  std::uint8_t RL) {
  GuardMemory([&] {
    const Context::Identifiers identifiers = context_.ConfiguredIdentifiers();
    const auto document = transfer::WriteMap(context_.GetPlatform(), Require(Map));
    StartWorker(std::array<Parameter, 4>{&identifiers.receive, &identifiers.send, &document, &RL});
  });
}

std::shared_ptr<DOMDocument> DiagOnCANReprogImplementation::TesterPresent() {
  return GuardMemory([&] { return services::TesterPresent(context_); });
}

void DiagOnCANReprogImplementation::FlowControl(std::int32_t BS, std::int32_t STMin) {
  GuardMemory([&] { context_.FlowControl(BS, STMin); });
}

void DiagOnCANReprogImplementation::OnXMLReady(XMLReadyHandler handler) {
  GuardMemory([&] { event_.SetHandler(std::move(handler)); });
}

bool DiagOnCANReprogImplementation::XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) {
  return event_.Raise(xml);
}

std::int32_t DiagOnCANReprogImplementation::GetParameter(ParameterList parameters) {
  GuardMemory([&] {
    // What the worker builds is passed to the host's thread.
    context_.SetFreeThreaded();
    context_.CANIDs(transfer::LongParameter(parameters, 0), transfer::LongParameter(parameters, 1));
    parameters_ = transfer::ReadParameters(parameters);
  });
  return 0;
}

std::int32_t DiagOnCANReprogImplementation::EntryPoint(const std::shared_ptr<Object>& client) {
  const auto receiver = std::dynamic_pointer_cast<XMLDocClient>(client);
  if (!receiver) {
    throw Error(error_number::kTypeMismatch);
  }
  try {
    RunTransfer(*receiver);
  } catch (...) {
    // The client learns only that the run has ended, without number or text.
    EndAfterError(*receiver);
  }
  return 0;
}

void DiagOnCANReprogImplementation::StartWorker(ParameterList parameters) {
  const std::int32_t status =
      context_.GetPlatform().StartThread(DiagOnCANReprog::kProgID, parameters, shared_from_this());
  if (status < 0) {
    throw Error(status);
  }
}

void DiagOnCANReprogImplementation::RunTransfer(XMLDocClient& client) {
  if (parameters_.root_name == transfer::kImageRoot) {
    transfer::RunDownload(context_, parameters_, client);
  } else if (parameters_.root_name == transfer::kMapRoot) {
    transfer::RunUpload(context_, parameters_, client);
  }
}

}  // namespace quillmark

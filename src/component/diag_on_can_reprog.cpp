// SPDX-License-Identifier: MIT
#include "quillmark/diag_on_can_reprog.h"

#include <array>
#include <functional>
#include <type_traits>
#include <utility>

#include "base/guards.h"
#include "component/event_source.h"
#include "context/context.h"
#include "services/services.h"
#include "transfer/transfer.h"
#include "transfer/transfer_documents.h"
#include "transfer/transfer_parameters.h"

namespace quillmark {
namespace {

using Document = std::shared_ptr<DOMDocument>;
using String = std::shared_ptr<ByteString>;

/// Tells the client that a run has failed. Exceptions that it throws are dropped: nobody is left to
/// report them to.
void EndAfterError(XMLDocClient& client) noexcept {
  try {
    client.XMLReady(nullptr);
  } catch (...) {
    return;
  }
}

/// The public class on top of one context. As an object of a host it offers the services and passes
/// on what its workers deliver; as the object of a worker it is one `IThread`.
class Implementation final : public DiagOnCANReprog,
                             public std::enable_shared_from_this<Implementation> {
 public:
  explicit Implementation(std::shared_ptr<Platform> platform) : context_(std::move(platform)) {}

  void CANIDs(std::int32_t RCANId, std::int32_t XCANId) override {
    Run<&Context::CANIDs>(RCANId, XCANId);
  }
  void FlowControl(std::int32_t BS, std::int32_t STMin) override {
    Run<&Context::FlowControl>(BS, STMin);
  }

  Document StartDiag() override { return Run<services::StartDiag>(); }
  Document TesterPresent() override { return Run<services::TesterPresent>(); }
  Document stopcomm() override { return Run<services::stopcomm>(); }
  void gethisto(const Document& root, ByteStringArray& RepHisto, ByteStringArray& RepReprog,
                String& RepIdent) override {
    Run<services::gethisto>(root, RepHisto, RepReprog, RepIdent);
  }

  Document readseed() override { return Run<services::readseed>(); }
  String getseed(const Document& root) override { return Run<services::getseed>(root); }
  Document dounlock(const String& key) override { return Run<services::dounlock>(key); }
  void checkunlock(const Document& root) override { Run<services::checkunlock>(root); }

  Document starterase(std::uint8_t RL) override { return Run<services::starterase>(RL); }
  void checkstarterase(const Document& root) override { Run<services::checkstarterase>(root); }
  Document checkerase() override { return Run<services::checkerase>(); }
  bool checkcheckerase(const Document& root) override {
    return Run<services::checkcheckerase>(root);
  }
  Document startroutine(std::uint8_t Routine) override {
    return Run<services::startroutine>(Routine);
  }
  void checkstartroutine(const Document& root, std::uint8_t Routine) override {
    Run<services::checkstartroutine>(root, Routine);
  }
  Document routinestatus(std::uint8_t Routine) override {
    return Run<services::routinestatus>(Routine);
  }
  bool checkroutine(const Document& root, std::uint8_t Routine) override {
    return Run<services::checkroutine>(root, Routine);
  }

  Document writelogzone(const String& Histo) override { return Run<services::writelogzone>(Histo); }
  void checkwritelogzone(const Document& root) override { Run<services::checkwritelogzone>(root); }

  void checkdownload(const Document& root) override { Run<transfer::checkdownload>(root); }
  void checkupload(const Document& root, const std::shared_ptr<MemoryImage>& Image) override {
    Run<transfer::checkupload>(root, Image);
  }
  void ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
                       std::uint8_t FillByte, std::int32_t IMod, std::int32_t MaxSize) override;
  void ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) override;

  void OnXMLReady(XMLReadyHandler handler) override {
    GuardMemory([&] { event_.SetHandler(std::move(handler)); });
  }
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override { return event_.Raise(xml); }

  std::int32_t GetParameter(ParameterList parameters) override;
  std::int32_t EntryPoint(const std::shared_ptr<Object>& client) override;

 private:
  /// Calls a service, or a member of the context, with the context and its arguments.
  template <auto kService, typename... Arguments>
  std::invoke_result_t<decltype(kService), Context&, Arguments...> Run(Arguments&&... arguments) {
    return GuardMemory(
        [&] { return std::invoke(kService, context_, std::forward<Arguments>(arguments)...); });
  }

  void StartWorker(ParameterList parameters);
  void RunTransfer(XMLDocClient& client);

  Context context_;
  EventSource event_;
  transfer::TransferParameters parameters_;  ///< of a worker
};

void Implementation::ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
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

void Implementation::ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) {
  GuardMemory([&] {
    const Context::Identifiers identifiers = context_.ConfiguredIdentifiers();
    const auto document = transfer::WriteMap(context_.GetPlatform(), Require(Map));
    StartWorker(std::array<Parameter, 4>{&identifiers.receive, &identifiers.send, &document, &RL});
  });
}

std::int32_t Implementation::GetParameter(ParameterList parameters) {
  GuardMemory([&] {
    // What the worker builds is passed to the host's thread.
    context_.SetFreeThreaded();
    context_.CANIDs(transfer::LongParameter(parameters, 0), transfer::LongParameter(parameters, 1));
    parameters_ = transfer::ReadParameters(parameters);
  });
  return 0;
}

std::int32_t Implementation::EntryPoint(const std::shared_ptr<Object>& client) {
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

void Implementation::StartWorker(ParameterList parameters) {
  const std::int32_t status =
      context_.GetPlatform().StartThread(DiagOnCANReprog::kProgID, parameters, shared_from_this());
  if (status < 0) {
    throw Error(status);
  }
}

void Implementation::RunTransfer(XMLDocClient& client) {
  if (parameters_.root_name == transfer::kImageRoot) {
    transfer::RunDownload(context_, parameters_, client);
  } else if (parameters_.root_name == transfer::kMapRoot) {
    transfer::RunUpload(context_, parameters_, client);
  }
}

}  // namespace

bool XMLDocClient::XMLReady(const std::shared_ptr<IXMLDOMNode>& /*xml*/) { return false; }

std::shared_ptr<XMLDocClient> CreateXMLDocClient() {
  throw GuardMemory([] { return Error(error_number::kSubscriptOutOfRange, "pure virtual class"); });
}

std::shared_ptr<DiagOnCANReprog> CreateDiagOnCANReprog(const std::shared_ptr<Platform>& platform) {
  return GuardMemory([&] { return std::make_shared<Implementation>(platform); });
}

}  // namespace quillmark

// SPDX-License-Identifier: MIT
#pragma once

#include "component/event_source.h"
#include "context/context.h"
#include "quillmark/diag_on_can_reprog.h"
#include "transfer/transfer_parameters.h"

namespace quillmark {

/// The public class on top of one context. The object of a host offers the services and passes on
/// what its workers deliver; the object of a worker is an `IThread`.
class DiagOnCANReprogImplementation final
    : public DiagOnCANReprog,
      public std::enable_shared_from_this<DiagOnCANReprogImplementation> {
 public:
  explicit DiagOnCANReprogImplementation(std::shared_ptr<Platform> platform);

  void CANIDs(std::int32_t RCANId, std::int32_t XCANId) override;
  std::shared_ptr<DOMDocument> StartDiag() override;
  void gethisto(const std::shared_ptr<DOMDocument>& root, ByteStringArray& RepHisto,
                ByteStringArray& RepReprog, std::shared_ptr<ByteString>& RepIdent) override;
  std::shared_ptr<DOMDocument> readseed() override;
  std::shared_ptr<ByteString> getseed(const std::shared_ptr<DOMDocument>& root) override;
  std::shared_ptr<DOMDocument> dounlock(const std::shared_ptr<ByteString>& key) override;
  void checkunlock(const std::shared_ptr<DOMDocument>& root) override;
  std::shared_ptr<DOMDocument> starterase(std::uint8_t RL) override;
  void checkstarterase(const std::shared_ptr<DOMDocument>& root) override;
  std::shared_ptr<DOMDocument> checkerase() override;
  bool checkcheckerase(const std::shared_ptr<DOMDocument>& root) override;
  void checkdownload(const std::shared_ptr<DOMDocument>& root) override;
  std::shared_ptr<DOMDocument> startroutine(std::uint8_t Routine) override;
  void checkstartroutine(const std::shared_ptr<DOMDocument>& root, std::uint8_t Routine) override;
  std::shared_ptr<DOMDocument> routinestatus(std::uint8_t Routine) override;
  bool checkroutine(const std::shared_ptr<DOMDocument>& root, std::uint8_t Routine) override;
  std::shared_ptr<DOMDocument> writelogzone(const std::shared_ptr<ByteString>& Histo) override;
  void checkwritelogzone(const std::shared_ptr<DOMDocument>& root) override;
  void checkupload(const std::shared_ptr<DOMDocument>& root,
                   const std::shared_ptr<MemoryImage>& Image) override;
  std::shared_ptr<DOMDocument> stopcomm() override;
  void ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
                       std::uint8_t FillByte, std::int32_t IMod, std::int32_t MaxSize) override;
  void ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) override;
  std::shared_ptr<DOMDocument> TesterPresent() override;
  void FlowControl(std::int32_t BS, std::int32_t STMin) override;

  void OnXMLReady(XMLReadyHandler handler) override;
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override;

  std::int32_t GetParameter(ParameterList parameters) override;
  std::int32_t EntryPoint(const std::shared_ptr<Object>& client) override;

 private:
  void StartWorker(ParameterList parameters);
  void RunTransfer(XMLDocClient& client);

  Context context_;
  EventSource event_;
  transfer::TransferParameters parameters_;  ///< of a worker
};

}  // namespace quillmark

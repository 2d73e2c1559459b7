// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "host/programmer/piece_queue.h"
#include "live_transfers.h"
#include "shared_objects.h"

namespace quillmark::python {

/// Adds up what the documents of a transfer cover. A worker that fails ends like one that is done;
/// the sum tells the two apart.
class Delivery {
 public:
  explicit Delivery(std::int64_t expected) : expected_(expected) {}

  void Add(const IXMLDOMNode& document) { delivered_ += TotalBytesOf(document).value_or(0); }

  [[nodiscard]] std::int64_t delivered() const { return delivered_; }
  [[nodiscard]] std::int64_t expected() const { return expected_; }
  [[nodiscard]] bool complete() const { return delivered_ == expected_; }

 private:
  std::int64_t expected_;
  std::int64_t delivered_ = 0;
};

/// Receives the documents of a worker, to be taken one by one. The worker is at most two documents
/// ahead.
class StreamTransfer : public TransferClient {
 public:
  explicit StreamTransfer(std::int64_t expected) : delivery_(expected) {}

  /// On the worker's thread.
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override { return queue_.Push(xml); }
  void Cancel() override;

  /// Waits for the next document, signal handlers running meanwhile; null after the last. Raises
  /// TransferIncomplete if the worker failed.
  [[nodiscard]] std::shared_ptr<Document> Next();

 private:
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> NextNode();

  Delivery delivery_;
  host::PieceQueue queue_;
  std::atomic<bool> ended_ = false;
};

/// The Python object of a stream. The worker ends when it is dropped.
class DocumentStream {
 public:
  explicit DocumentStream(std::shared_ptr<StreamTransfer> transfer)
      : transfer_(std::move(transfer)) {}
  DocumentStream(const DocumentStream&) = delete;
  DocumentStream& operator=(const DocumentStream&) = delete;
  DocumentStream(DocumentStream&&) = delete;
  DocumentStream& operator=(DocumentStream&&) = delete;
  ~DocumentStream() { Close(); }

  [[nodiscard]] std::shared_ptr<Document> Next() const { return transfer_->Next(); }
  void Close() const { transfer_->Cancel(); }

 private:
  std::shared_ptr<StreamTransfer> transfer_;
};

/// A generator of the documents that `transfer` receives.
[[nodiscard]] py::object GeneratorOf(std::shared_ptr<StreamTransfer> transfer);

}  // namespace quillmark::python

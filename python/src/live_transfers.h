// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <memory>

#include "interpreter.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark::python {

/// The receiver of one worker's documents.
class TransferClient : public XMLDocClient {
 public:
  /// Lets the worker end with the document that it computes. From any thread, with the
  /// interpreter's lock or without. Nothing happens in a forked child.
  virtual void Cancel() = 0;

 protected:
  /// Whether this is the process that the worker runs in. A forked child has no worker, but perhaps
  /// a lock that it held.
  [[nodiscard]] bool IsOfThisProcess() const { return process_ == ::getpid(); }
  /// Raises RuntimeError in a forked child.
  void RequireThisProcess() const;

 private:
  pid_t process_ = ::getpid();
};

/// Says, while it lives, that the calling thread runs the handler of `client`.
class Handling {
 public:
  explicit Handling(const TransferClient& client);
  Handling(const Handling&) = delete;
  Handling& operator=(const Handling&) = delete;
  Handling(Handling&&) = delete;
  Handling& operator=(Handling&&) = delete;
  ~Handling();
};

/// The client whose handler the calling thread runs; null if it runs none.
[[nodiscard]] const TransferClient* Handled();

/// Remembers `client` until it is gone, so that the end of the interpreter can cancel it. Raises
/// RuntimeError once that has begun.
void Register(const std::shared_ptr<TransferClient>& client);

/// Returns once no worker runs; signal handlers run meanwhile. Raises RuntimeError in a handler,
/// which a worker runs.
void WaitForWorkers();

/// Says, while it lives, that a thread works without the interpreter's lock and takes it now and
/// then: the end of the interpreter waits for it. Raises RuntimeError once that has begun.
class LiveCall {
 public:
  LiveCall();
  LiveCall(const LiveCall&) = delete;
  LiveCall& operator=(const LiveCall&) = delete;
  LiveCall(LiveCall&&) = delete;
  LiveCall& operator=(LiveCall&&) = delete;
  ~LiveCall();

  /// Whether the interpreter ends, so that calls have to.
  [[nodiscard]] static bool MustEnd();
};

/// Cancels every transfer and every call, lets no new one begin and waits for them, so that none
/// uses an interpreter that has ended.
void EndTransfers();

}  // namespace quillmark::python

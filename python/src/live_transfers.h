// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "interpreter.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark::python {

/// The receiver of one worker's documents.
class TransferClient : public XMLDocClient {
 public:
  /// Lets the worker end with the document that it computes. From any thread, with the
  /// interpreter's lock or without.
  virtual void Cancel() = 0;
};

/// Remembers `client` until it is gone, so that the end of the interpreter can cancel it. Raises
/// RuntimeError once that has begun.
void Register(const std::shared_ptr<TransferClient>& client);

/// Returns once no worker runs; signal handlers run meanwhile.
void WaitForWorkers();

/// Cancels every transfer, lets none begin any more and waits for the workers, so that none of them
/// meets an interpreter that is gone.
void EndTransfers();

}  // namespace quillmark::python

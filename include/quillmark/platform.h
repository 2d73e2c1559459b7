// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/object.h"
#include "quillmark/threading.h"

namespace quillmark {

/// The only seam between the component and its surroundings: makes documents and objects of the
/// host's library, and starts threads. A host passes `CreatePortablePlatform()` or its own.
///
/// Threads: every operation may be called from several threads at once, because a worker uses the
/// platform of its client.
class QUILLMARK_API Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  Platform(Platform&&) = delete;
  Platform& operator=(Platform&&) = delete;
  virtual ~Platform() = default;

  /// An empty document for use on one thread at a time.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> CreateDOMDocument() = 0;
  /// An empty document that may be passed between threads.
  [[nodiscard]] virtual std::shared_ptr<FreeThreadedDOMDocument>
  CreateFreeThreadedDOMDocument() = 0;

  /// An empty string with start address 1.
  [[nodiscard]] virtual std::shared_ptr<ByteString> CreateByteString() = 0;
  /// An image without segments: for the host, and for a worker's own copy of what it downloads.
  [[nodiscard]] virtual std::shared_ptr<MemoryImage> CreateMemoryImage() = 0;
  /// A map without ranges: for the host, and for a worker's own copy of what it uploads.
  [[nodiscard]] virtual std::shared_ptr<MemoryMap> CreateMemoryMap() = 0;
  /// A calculator to which nothing has been added.
  [[nodiscard]] virtual std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() = 0;

  /// Creates an object of the class `progID` on a new thread, then calls its
  /// `IThread::GetParameter` with `parameters` and its `IThread::EntryPoint` with `client`. Returns
  /// once `GetParameter` has copied the parameters, with its status: negative on failure, also if
  /// no thread could be created or the class is unknown. Keeps the client and the platform alive
  /// until the worker has ended.
  [[nodiscard]] virtual std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                                 const std::shared_ptr<Object>& client) = 0;
};

}  // namespace quillmark

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "quillmark/export.h"
#include "quillmark/platform.h"

namespace quillmark {

/// The portable platform: documents on pugixml, the reference host types, `std::thread`. On Windows
/// its documents are those of MSXML 3, a part of the system; nothing else needs to be registered,
/// and a thread that uses it need not have entered an apartment.
///
/// `StartThread` looks up classes in a registry of ProgIDs of the platform; a host adds its own
/// with `RegisterClass`. Its negative statuses are `kClassNotRegistered`, `kNoSuchInterface` (the
/// object is not an `IThread`), `kThreadNotStarted`, or the failure of `GetParameter`: 0x800A0000 +
/// number for an `Error` (the number itself if it is negative), `kUnexpectedFailure` for anything
/// else.
class QUILLMARK_API PortablePlatform : public Platform {
 public:
  static constexpr std::int32_t kClassNotRegistered = -2147221164;  ///< 0x80040154
  static constexpr std::int32_t kNoSuchInterface = -2147467262;     ///< 0x80004002
  static constexpr std::int32_t kThreadNotStarted = -2147024882;    ///< 0x8007000E
  static constexpr std::int32_t kUnexpectedFailure = -2147467259;   ///< 0x80004005

  /// Makes an object of a class, on the thread that will use it.
  using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;

  /// Registers `factory` for `progID`, replacing any earlier registration.
  virtual void RegisterClass(std::string progID, ClassFactory factory) = 0;

  /// Number of workers that have been started and have not ended yet.
  [[nodiscard]] virtual std::size_t RunningWorkers() const = 0;

  /// Returns once no worker is running. A host calls it before it exits, so that the process does
  /// not end while a worker runs. Must not be called on a worker's thread, for example from an
  /// `XMLReady` handler. A forked child has none of its parent's workers: there it returns at once.
  virtual void WaitForWorkers() const = 0;

  /// Returns once no worker is running that reports to `client`, such as the object on which
  /// `ComputeDownload` was called; otherwise the same.
  virtual void WaitForWorkers(const Object& client) const = 0;
};

/// A new platform with its own registry, in which the component's classes are registered.
[[nodiscard]] QUILLMARK_API std::shared_ptr<PortablePlatform> CreatePortablePlatform();

}  // namespace quillmark

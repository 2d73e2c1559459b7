// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "quillmark/export.h"
#include "quillmark/platform.h"

namespace quillmark {

/// The native platform: documents on pugixml, the reference host types, `std::thread`.
///
/// `StartThread` finds classes in a registry of ProgIDs that belongs to the platform; a host adds
/// its own with `RegisterClass`. Its negative statuses: `kClassNotRegistered`, `kNoSuchInterface`
/// (the object is no `IThread`), `kThreadNotStarted`, or what `GetParameter` failed with: an
/// `Error`'s number as 0x800A0000 + number (unchanged where it is negative), `kUnexpectedFailure`
/// for anything else.
class QUILLMARK_API PortablePlatform : public Platform {
 public:
  static constexpr std::int32_t kClassNotRegistered = -2147221164;  ///< 0x80040154
  static constexpr std::int32_t kNoSuchInterface = -2147467262;     ///< 0x80004002
  static constexpr std::int32_t kThreadNotStarted = -2147024882;    ///< 0x8007000E
  static constexpr std::int32_t kUnexpectedFailure = -2147467259;   ///< 0x80004005

  /// Makes an object of a class, on the thread that is to use it.
  using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;

  /// Makes `factory` the class of `progID`, in place of one registered before.
  virtual void RegisterClass(std::string progID, ClassFactory factory) = 0;

  /// Workers that have been started and have not yet ended.
  [[nodiscard]] virtual std::size_t RunningWorkers() const = 0;

  /// Returns once no worker runs. A host calls it before it exits, so that the end of the process
  /// does not meet a worker. Never call it on a worker's thread, such as from an `XMLReady`
  /// handler.
  virtual void WaitForWorkers() const = 0;
};

/// A platform of its own registry, with the component's classes registered.
[[nodiscard]] QUILLMARK_API std::shared_ptr<PortablePlatform> CreatePortablePlatform();

}  // namespace quillmark

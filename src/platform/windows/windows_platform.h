// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "base/com/com_ptr.h"
#include "quillmark/platform.h"

namespace quillmark {

/// The platform of a Windows host: documents on MSXML, the objects of the host's diagnostic library
/// by their ProgIDs `Vantrel.…`, and threads.
///
/// Every thread that calls it, or an object that it made, has entered an apartment.
///
/// `StartThread` asks the host's threading library if one is registered (see
/// `platform/windows/host_threads.h`) and the client has a COM object. Otherwise the platform
/// starts the worker itself: a thread in the multithreaded apartment, on which it creates an object
/// of the class that `AddClass` named. Its negative statuses are those of `PortablePlatform`.
///
/// Errors: those of MSXML and of the host's library, unchanged; 429 names a class that is not
/// registered, 438 a member that the host's library lacks.
class WindowsPlatform : public Platform {
 public:
  /// Makes an object of a class, on the thread that will use it.
  using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;
  /// The COM object by which a client is known outside the component, or none.
  using ClientFace = std::function<com::ComPtr<IUnknown>(const std::shared_ptr<Object>& client)>;

  /// Registers `factory` for `progID`, replacing any earlier registration.
  virtual void AddClass(std::string progID, ClassFactory factory) = 0;

  /// Says how `StartThread` finds the COM object of its client: to pass it to the host's threading
  /// library, and to keep it alive until the worker has ended. Must be called before any transfer.
  virtual void SetClientFace(ClientFace face) = 0;

  /// Number of workers that this platform has started itself and that have not ended yet.
  [[nodiscard]] virtual std::size_t RunningWorkers() const = 0;

  /// Returns once no such worker is running. Must not be called on a worker's thread.
  virtual void WaitForWorkers() const = 0;
};

namespace windows {

/// Keeps the multithreaded apartment for the rest of the process: every thread that has entered no
/// apartment is in it from then on. Needs Windows 8.
void KeepMultithreadedApartment();

/// Runs `function` on a new, detached thread of the multithreaded apartment. The module of this
/// code stays loaded until the thread has left it. Throws `std::system_error` if no thread could be
/// created; if the apartment cannot be entered, `function` is destroyed without having run.
void LaunchComThread(std::function<void()> function);

}  // namespace windows

/// A platform without any class registered.
[[nodiscard]] std::shared_ptr<WindowsPlatform> MakeWindowsPlatform();

/// A new platform with its own registry, in which the component's classes are registered.
[[nodiscard]] std::shared_ptr<WindowsPlatform> CreateWindowsPlatform();

}  // namespace quillmark

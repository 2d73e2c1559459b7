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
/// `StartThread` asks the host's threading library where one is registered (see
/// `platform/windows/host_threads.h`) and the client has a face that COM can call. Otherwise the
/// platform starts the worker itself: a thread in the multithreaded apartment, on which it makes
/// the object of the class that `AddClass` named. Its negative statuses are those of
/// `PortablePlatform`.
///
/// Errors: those of MSXML and of the host library, unchanged; 429 names a class that is not
/// registered, 438 a member that the host library lacks.
class WindowsPlatform : public Platform {
 public:
  /// Makes an object of a class, on the thread that is to use it.
  using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;
  /// The COM object by which a client is known outside of the component, or none.
  using ClientFace = std::function<com::ComPtr<IUnknown>(const std::shared_ptr<Object>& client)>;

  /// Makes `factory` the class of `progID`, instead of one registered before.
  virtual void AddClass(std::string progID, ClassFactory factory) = 0;

  /// Says how `StartThread` finds the COM object of its client: to hand it to the host's threading
  /// library, and to keep it alive until the worker has ended. To be called before any transfer.
  virtual void SetClientFace(ClientFace face) = 0;

  /// Workers that this platform has started itself and that have not yet ended.
  [[nodiscard]] virtual std::size_t RunningWorkers() const = 0;

  /// Returns once no such worker runs; never to be called on a worker's thread.
  virtual void WaitForWorkers() const = 0;
};

/// A platform of its own registry, with the component's classes registered.
[[nodiscard]] std::shared_ptr<WindowsPlatform> CreateWindowsPlatform();

}  // namespace quillmark

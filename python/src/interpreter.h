// SPDX-License-Identifier: MIT
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace quillmark::python {

namespace py = pybind11;

/// Gives up the interpreter's lock (GIL) for as long as it lives. A thread that returns while the
/// interpreter ends cannot continue and waits for the end of the process.
class WithoutGil {
 public:
  WithoutGil() : state_(PyEval_SaveThread()) {}
  WithoutGil(const WithoutGil&) = delete;
  WithoutGil& operator=(const WithoutGil&) = delete;
  WithoutGil(WithoutGil&&) = delete;
  WithoutGil& operator=(WithoutGil&&) = delete;
  // If the interpreter begins to end only now, it unwinds the thread through here.
  ~WithoutGil() noexcept(false) {
    while (_Py_IsFinalizing() != 0) {
      std::this_thread::sleep_for(std::chrono::hours(1));
    }
    PyEval_RestoreThread(state_);
  }

 private:
  PyThreadState* state_;
};

/// Runs the interpreter's signal handlers, so that Ctrl-C ends a wait. Raises what they raise.
inline void CheckSignals() {
  if (PyErr_CheckSignals() != 0) {
    throw py::error_already_set();
  }
}

/// One thread's turn with an object. While it waits, other threads may use the interpreter.
class Turn {
 public:
  explicit Turn(std::recursive_mutex& mutex) : lock_(mutex, std::try_to_lock) {
    if (!lock_.owns_lock()) {
      const WithoutGil released;
      lock_.lock();
    }
  }

 private:
  std::unique_lock<std::recursive_mutex> lock_;
};

/// An object that one thread at a time may use, as Python threads share it: each takes its turn.
template <typename Object>
class Shared {
 public:
  explicit Shared(std::shared_ptr<Object> object, std::shared_ptr<std::recursive_mutex> mutex =
                                                      std::make_shared<std::recursive_mutex>())
      : object_(std::move(object)), mutex_(std::move(mutex)) {}

  /// Calls `work` with the object, which `work` may replace. The interpreter's lock is held unless
  /// `work` gives it up.
  template <typename Work>
  decltype(auto) Use(Work&& work) const {
    const Turn turn(*mutex_);
    const std::shared_ptr<Object> object = object_;
    return std::forward<Work>(work)(object);
  }

  /// Puts another object into the place of this one, which lives on until its users have ended.
  void Replace(std::shared_ptr<Object> object) {
    const Turn turn(*mutex_);
    object_.swap(object);
  }

  /// For another object that works on this one.
  [[nodiscard]] const std::shared_ptr<std::recursive_mutex>& mutex() const { return mutex_; }

 private:
  std::shared_ptr<Object> object_;
  std::shared_ptr<std::recursive_mutex> mutex_;
};

}  // namespace quillmark::python

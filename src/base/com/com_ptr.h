// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <utility>

namespace quillmark::com {

/// A reference to a COM object, or none.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  /// Adds a reference.
  explicit ComPtr(Interface* object) : object_(object) { AddRef(); }
  ComPtr(const ComPtr& other) : object_(other.object_) { AddRef(); }
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPtr() { Release(); }

  /// Takes over a reference that the caller holds.
  [[nodiscard]] static ComPtr Adopt(Interface* object) {
    ComPtr pointer;
    pointer.object_ = object;
    return pointer;
  }

  [[nodiscard]] Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  Interface& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /// Storage for a function that returns a reference; the previous one is released.
  [[nodiscard]] Interface** Put() {
    Release();
    object_ = nullptr;
    return &object_;
  }
  [[nodiscard]] void** PutVoid() { return reinterpret_cast<void**>(Put()); }

  /// Passes the reference to the caller.
  [[nodiscard]] Interface* Detach() { return std::exchange(object_, nullptr); }

  /// The same object by another interface; none if it lacks it.
  template <typename Other>
  [[nodiscard]] ComPtr<Other> As() const {
    ComPtr<Other> other;
    if (object_ == nullptr || FAILED(object_->QueryInterface(__uuidof(Other), other.PutVoid()))) {
      return {};
    }
    return other;
  }

 private:
  void AddRef() {
    if (object_ != nullptr) {
      object_->AddRef();
    }
  }
  void Release() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  Interface* object_ = nullptr;
};

/// A new reference to `object`, for the caller.
template <typename Interface>
[[nodiscard]] ComPtr<Interface> Share(Interface* object) {
  return ComPtr<Interface>(object);
}

}  // namespace quillmark::com

// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "base/com/com_ptr.h"
#include "base/com/variant.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/host_members.h"

namespace quillmark::windows {

/// An object of the host's diagnostic library with the identifiers of its members: the basis of the
/// classes of this platform that wrap one.
class HostObject {
 public:
  HostObject(com::ComPtr<IDispatch> object, std::shared_ptr<HostMembers> members);

  /// A new object of the class `prog_id`. Raises as `CreateObject` does.
  [[nodiscard]] static HostObject Create(const wchar_t* prog_id);
  /// An object from elsewhere.
  [[nodiscard]] static HostObject Of(com::ComPtr<IDispatch> object);

  [[nodiscard]] IDispatch& Dispatch() const { return *object_; }

  /// Calls a method or reads a property; every argument is a `com::Variant`. Raises the error of
  /// the object, and 438, with a text that names the member, if it has none of that name.
  template <typename... Arguments>
  com::Variant Call(HostMember member, const Arguments&... arguments) const {
    return CallWith(member, {&arguments.get()...});
  }

  /// Sets a property; the new value is the last argument.
  template <typename... Arguments>
  void Set(HostMember member, const Arguments&... arguments) const {
    SetWith(member, {&arguments.get()...});
  }

  /// The objects that this one enumerates.
  [[nodiscard]] std::vector<HostObject> Elements() const;

 private:
  com::Variant CallWith(HostMember member, std::initializer_list<const VARIANT*> arguments) const;
  void SetWith(HostMember member, std::initializer_list<const VARIANT*> arguments) const;

  com::ComPtr<IDispatch> object_;
  std::shared_ptr<HostMembers> members_;
};

/// An implementation of one of the host's own types by an object of it.
template <typename Interface>
class HostBacked : public Interface, public ComBacked {
 public:
  explicit HostBacked(HostObject object) : object_(std::move(object)) {}

  [[nodiscard]] IDispatch& Dispatch() const override { return object_.Dispatch(); }

 protected:
  [[nodiscard]] const HostObject& object() const { return object_; }

 private:
  HostObject object_;
};

/// The Long in a value. Raises 6 for a number out of range, 13 for another type.
[[nodiscard]] std::int32_t LongIn(const com::Variant& value);

/// The object in a value. Raises 13 if it holds none, 91 if it holds Nothing.
[[nodiscard]] com::ComPtr<IDispatch> ObjectIn(const com::Variant& value);

}  // namespace quillmark::windows

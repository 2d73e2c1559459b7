// SPDX-License-Identifier: MIT
#include "platform/windows/host_object.h"

#include <utility>

#include "base/com/dispatch.h"
#include "base/com/status.h"
#include "platform/windows/com_objects.h"
#include "quillmark/error.h"

namespace quillmark::windows {
namespace {

/// The member for the enumerator has a fixed identifier, so its name is not looked up.
com::Variant NewEnumerator(IDispatch& object) {
  try {
    return com::Call(object, DISPID_NEWENUM);
  } catch (const Error& error) {
    if (error.Number() == DISP_E_MEMBERNOTFOUND) {
      throw Error(error_number::kUnknownMember,
                  "Object doesn't support this property or method: _NewEnum");
    }
    throw;
  }
}

com::ComPtr<IEnumVARIANT> EnumeratorOf(IDispatch& object) {
  const com::Variant value = NewEnumerator(object);
  const bool is_object = value.type() == VT_UNKNOWN || value.type() == VT_DISPATCH;
  // Both kinds of pointer are in the same place and are an IUnknown.
  auto enumerator = com::Share(is_object ? V_UNKNOWN(&value.get()) : nullptr).As<IEnumVARIANT>();
  if (!enumerator) {
    throw Error(error_number::kTypeMismatch);
  }
  return enumerator;
}

}  // namespace

std::int32_t LongIn(const com::Variant& value) {
  return V_I4(&com::ConvertedTo(VT_I4, value.get()).get());
}

com::ComPtr<IDispatch> ObjectIn(const com::Variant& value) {
  const com::Variant converted = com::ConvertedTo(VT_DISPATCH, value.get());
  IDispatch* const object = V_DISPATCH(&converted.get());
  if (object == nullptr) {
    throw Error(error_number::kObjectNotSet);
  }
  return com::Share(object);
}

HostObject::HostObject(com::ComPtr<IDispatch> object, std::shared_ptr<HostMembers> members)
    : object_(std::move(object)), members_(std::move(members)) {}

HostObject HostObject::Create(const wchar_t* prog_id) {
  CLSID class_id;
  const auto object = CreateObject(prog_id, IID_IDispatch, class_id);
  return {object.As<IDispatch>(), MembersOfClass(class_id)};
}

HostObject HostObject::Of(com::ComPtr<IDispatch> object) {
  auto members = MembersOf(*object);
  return {std::move(object), std::move(members)};
}

com::Variant HostObject::CallWith(HostMember member,
                                  std::initializer_list<const VARIANT*> arguments) const {
  return com::Call(*object_, members_->IdOf(*object_, member), arguments);
}

void HostObject::SetWith(HostMember member, std::initializer_list<const VARIANT*> arguments) const {
  com::SetProperty(*object_, members_->IdOf(*object_, member), arguments);
}

std::vector<HostObject> HostObject::Elements() const {
  const auto enumerator = EnumeratorOf(*object_);
  std::vector<HostObject> elements;
  for (;;) {
    com::Variant element;
    const HRESULT status = enumerator->Next(1, element.Put(), nullptr);
    com::Require(status);
    if (status != S_OK) {
      return elements;
    }
    elements.push_back(Of(ObjectIn(element)));
  }
}

}  // namespace quillmark::windows

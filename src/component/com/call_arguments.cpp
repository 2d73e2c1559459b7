// SPDX-License-Identifier: MIT
#include "component/com/call_arguments.h"

#include <oleauto.h>

#include <algorithm>
#include <utility>

#include "base/com/status.h"
#include "component/com/object_array.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

/// The description of a member; nothing if there is no such member.
class FunctionDescription {
 public:
  FunctionDescription(ITypeInfo& info, DISPID member) : info_(info) {
    for (UINT index = 0; SUCCEEDED(info.GetFuncDesc(index, &function_)); ++index) {
      if (function_->memid == member) {
        return;
      }
      info.ReleaseFuncDesc(std::exchange(function_, nullptr));
    }
  }
  FunctionDescription(const FunctionDescription&) = delete;
  FunctionDescription& operator=(const FunctionDescription&) = delete;
  ~FunctionDescription() {
    if (function_ != nullptr) {
      info_.ReleaseFuncDesc(function_);
    }
  }

  /// The declared type of a parameter, counted from 0 on the left; null if there is none.
  [[nodiscard]] const TYPEDESC* Parameter(std::size_t index) const {
    return function_ == nullptr || index >= static_cast<std::size_t>(function_->cParams)
               ? nullptr
               : &function_->lprgelemdescParam[index].tdesc;
  }

 private:
  ITypeInfo& info_;
  FUNCDESC* function_ = nullptr;
};

/// The parameter that an argument is for: named arguments come first and say so, the others are in
/// reverse order.
std::size_t ParameterOf(const DISPPARAMS& given, std::size_t argument) {
  if (argument < given.cNamedArgs) {
    return static_cast<std::size_t>(given.rgdispidNamedArgs[argument]);
  }
  return given.cArgs - 1 - argument;
}

/// An object or Nothing; raises 13 for anything else.
com::Variant ObjectIn(VARIANT& given) {
  com::Variant object = com::ValueOf(given);
  if (object.type() == VT_UNKNOWN && V_UNKNOWN(&object.get()) != nullptr) {
    object = com::Variant::OfObject(com::Share(V_UNKNOWN(&object.get())).As<IDispatch>());
    if (V_DISPATCH(&object.get()) == nullptr) {
      throw Error(error_number::kTypeMismatch);
    }
  }
  if (object.type() == VT_UNKNOWN) {
    return com::Variant::OfObject({});
  }
  if (object.type() != VT_DISPATCH) {
    throw Error(error_number::kTypeMismatch);
  }
  return object;
}

VARTYPE ElementType(const VARIANT& array) {
  return static_cast<VARTYPE>(V_VT(&array) & ~(VT_BYREF | VT_ARRAY));
}

bool HoldsObjects(VARTYPE element) {
  return element == VT_DISPATCH || element == VT_UNKNOWN || element == VT_VARIANT;
}

bool IsReference(const VARIANT& variable) { return (V_VT(&variable) & VT_BYREF) != 0; }

bool IsArray(const VARIANT& variable) { return (V_VT(&variable) & VT_ARRAY) != 0; }

/// Whether it refers to storage for an object, or for an array of objects, as the member declares.
bool RefersToSuch(VARTYPE declared, const VARIANT& variable) {
  if (!IsReference(variable)) {
    return false;
  }
  const VARTYPE element = ElementType(variable);
  return declared == VT_DISPATCH
             ? !IsArray(variable) && (element == VT_DISPATCH || element == VT_UNKNOWN)
             : IsArray(variable) && HoldsObjects(element);
}

}  // namespace

/// One argument by reference: what the member works on, and the caller's variable that gets it. The
/// member's array and its object are null at first, since the member only replaces them.
class CallArguments::Reference {
 public:
  Reference(VARTYPE declared, VARIANT& given) : declared_(declared), variable_(com::Follow(given)) {
    const bool takes_anything = &variable_ != &given && !IsReference(variable_);
    if (!takes_anything && !RefersToSuch(declared, variable_)) {
      throw Error(error_number::kTypeMismatch);
    }
  }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { SafeArrayDestroy(array_); }

  /// The argument for the member.
  [[nodiscard]] VARIANT Argument() {
    VARIANT argument = {};
    V_VT(&argument) = static_cast<VARTYPE>(VT_BYREF | declared_);
    if (declared_ == VT_DISPATCH) {
      V_DISPATCHREF(&argument) = object_.Put();
    } else {
      V_ARRAYREF(&argument) = &array_;
    }
    return argument;
  }

  [[nodiscard]] bool HasResult() const { return array_ != nullptr || object_; }

  void StoreResult() {
    if (declared_ == VT_DISPATCH) {
      StoreObject();
    } else if (array_ != nullptr) {
      StoreArray();
    }
  }

 private:
  void StoreObject() {
    if (IsReference(variable_)) {
      // IDispatch begins with IUnknown, so one pointer serves both.
      const auto old = com::ComPtr<IDispatch>::Adopt(
          std::exchange(*V_DISPATCHREF(&variable_), object_.Detach()));
      return;
    }
    com::Require(VariantClear(&variable_));
    variable_ = com::Variant::OfObject(std::move(object_)).Detach();
  }

  void StoreArray() {
    const ObjectList objects = ObjectsIn(array_);
    const VARTYPE element = ElementType(variable_);
    if (IsReference(variable_)) {
      StoreObjects(objects, element, *V_ARRAYREF(&variable_));
      return;
    }
    if (IsArray(variable_) && HoldsObjects(element)) {
      StoreObjects(objects, element, V_ARRAY(&variable_));
      return;
    }
    // Of the arrays that a variable can hold, a script can index only those of variables.
    SAFEARRAY* elements = nullptr;
    StoreObjects(objects, VT_VARIANT, elements);
    com::Variant array;
    V_VT(array.InOut()) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(array.InOut()) = elements;
    com::Require(VariantClear(&variable_));
    variable_ = array.Detach();
  }

  VARTYPE declared_;
  VARIANT& variable_;
  SAFEARRAY* array_ = nullptr;
  com::ComPtr<IDispatch> object_;
};

CallArguments::CallArguments(ITypeInfo& info, DISPID member, const DISPPARAMS& given)
    : parameters_(given) {
  const FunctionDescription function(info, member);
  for (std::size_t argument = 0; argument < given.cArgs; ++argument) {
    VARIANT& value = given.rgvarg[argument];
    const TYPEDESC* declared = function.Parameter(ParameterOf(given, argument));
    arguments_.push_back(declared == nullptr ? value : Convert(*declared, value));
  }
  parameters_.rgvarg = arguments_.data();
}

CallArguments::~CallArguments() = default;

VARIANT CallArguments::Convert(const TYPEDESC& declared, VARIANT& given) {
  switch (declared.vt) {
    case VT_I4:
    case VT_UI1:
      return converted_.emplace_back(com::ConvertedTo(declared.vt, given)).get();
    case VT_DISPATCH:
      return converted_.emplace_back(ObjectIn(given)).get();
    case VT_PTR: {
      const bool is_object = declared.lptdesc->vt == VT_DISPATCH;
      const VARTYPE type = is_object ? VT_DISPATCH : VT_ARRAY | VT_DISPATCH;
      return references_.emplace_back(std::make_unique<Reference>(type, given))->Argument();
    }
    default:
      return given;
  }
}

void CallArguments::StoreResults() const {
  const bool untouched = std::none_of(references_.begin(), references_.end(),
                                      [](const auto& reference) { return reference->HasResult(); });
  if (untouched) {
    return;
  }
  for (const auto& reference : references_) {
    reference->StoreResult();
  }
}

}  // namespace quillmark

// SPDX-License-Identifier: MIT
#include "component/com/object_array.h"

#include <oleauto.h>

#include <memory>
#include <utility>

#include "base/checked.h"
#include "base/com/status.h"
#include "base/com/variant.h"
#include "base/guards.h"

namespace quillmark {
namespace {

using OwnedArray = std::unique_ptr<SAFEARRAY, decltype(&SafeArrayDestroy)>;

bool IsFixed(const SAFEARRAY& array) {
  constexpr USHORT kFixed = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE;
  return (array.fFeatures & kFixed) != 0 || array.cLocks != 0;
}

LONG LowerBound(SAFEARRAY& array) {
  LONG bound = 0;
  com::Require(SafeArrayGetLBound(&array, 1, &bound));
  return bound;
}

std::size_t Size(SAFEARRAY& array) {
  LONG upper = 0;
  com::Require(SafeArrayGetUBound(&array, 1, &upper));
  return static_cast<std::size_t>(upper - LowerBound(array) + 1);
}

void PutElement(SAFEARRAY& array, VARTYPE type, LONG index, const com::ComPtr<IDispatch>& object) {
  if (type == VT_VARIANT) {
    com::Variant element = com::Variant::OfObject(object);
    com::Require(SafeArrayPutElement(&array, &index, element.InOut()));
    return;
  }
  // IDispatch begins with IUnknown, so one pointer serves both.
  com::Require(SafeArrayPutElement(&array, &index, object.get()));
}

void Fill(SAFEARRAY& array, VARTYPE type, const ObjectList& objects) {
  LONG index = LowerBound(array);
  for (const auto& object : objects) {
    PutElement(array, type, index++, object);
  }
}

bool TakesElements(SAFEARRAY& array, VARTYPE type, std::size_t count) {
  VARTYPE own_type = VT_EMPTY;
  return SafeArrayGetVartype(&array, &own_type) == S_OK && own_type == type && array.cDims == 1 &&
         Size(array) == count;
}

OwnedArray NewArray(VARTYPE type, const ObjectList& objects) {
  OwnedArray array(SafeArrayCreateVector(type, 0, checked::Convert<ULONG>(objects.size())),
                   &SafeArrayDestroy);
  RequireMemory(array != nullptr);
  Fill(*array, type, objects);
  return array;
}

}  // namespace

void StoreObjects(const ObjectList& objects, VARTYPE type, SAFEARRAY*& array) {
  if (array == nullptr || !IsFixed(*array)) {
    const OwnedArray old(std::exchange(array, NewArray(type, objects).release()),
                         &SafeArrayDestroy);
    return;
  }
  if (!TakesElements(*array, type, objects.size())) {
    throw Error(error_number::kArrayIsFixed, "This array is fixed or temporarily locked");
  }
  Fill(*array, type, objects);
}

ObjectList ObjectsIn(SAFEARRAY* array) {
  ObjectList objects;
  if (array == nullptr) {
    return objects;
  }
  objects.resize(Size(*array));
  LONG index = LowerBound(*array);
  for (auto& object : objects) {
    com::Require(SafeArrayGetElement(array, &index, object.Put()));
    ++index;
  }
  return objects;
}

}  // namespace quillmark

// SPDX-License-Identifier: MIT
#include "platform/windows/host_threads.h"

#include <utility>
#include <vector>

#include "base/com/dispatch.h"
#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/variant.h"
#include "base/guards.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/host_object.h"

namespace quillmark::windows {
namespace {

constexpr const wchar_t* kThreading = L"Spindle.Threading";

/// A parameter list as Automation passes it. The values do not move.
class ParameterArray {
 public:
  explicit ParameterArray(ParameterList parameters)
      : array_(SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(parameters.size()))) {
    RequireMemory(array_ != nullptr);
    // Reserved, since the array refers to the elements.
    documents_.reserve(parameters.size());
    auto* element = static_cast<VARIANT*>(array_->pvData);
    for (const Parameter& parameter : parameters) {
      *element++ = std::visit([this](const auto* value) { return ReferenceTo(*value); }, parameter);
    }
  }
  ParameterArray(const ParameterArray&) = delete;
  ParameterArray& operator=(const ParameterArray&) = delete;
  ~ParameterArray() { SafeArrayDestroy(array_); }

  /// The array as an argument, which remains this object's.
  [[nodiscard]] VARIANT Argument() const {
    VARIANT argument;
    VariantInit(&argument);
    V_VT(&argument) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&argument) = array_;
    return argument;
  }

 private:
  static VARIANT ReferenceTo(const std::int32_t& value) {
    return Reference(VT_I4, const_cast<std::int32_t*>(&value));
  }
  static VARIANT ReferenceTo(const std::uint8_t& value) {
    return Reference(VT_UI1, const_cast<std::uint8_t*>(&value));
  }
  VARIANT ReferenceTo(const std::shared_ptr<DOMDocument>& document) {
    IDispatch*& stored = documents_.emplace_back(DispatchOf(document)).Borrowed();
    return Reference(VT_DISPATCH, &stored);
  }
  static VARIANT Reference(VARTYPE type, void* value) {
    VARIANT reference;
    VariantInit(&reference);
    V_VT(&reference) = static_cast<VARTYPE>(VT_BYREF | type);
    V_BYREF(&reference) = value;
    return reference;
  }

  /// A document with a plain pointer to it, which can be passed by reference.
  class Document {
   public:
    explicit Document(com::ComPtr<IDispatch> object)
        : object_(std::move(object)), borrowed_(object_.get()) {}
    [[nodiscard]] IDispatch*& Borrowed() { return borrowed_; }

   private:
    com::ComPtr<IDispatch> object_;
    IDispatch* borrowed_;
  };

  SAFEARRAY* array_;
  std::vector<Document> documents_;
};

}  // namespace

bool HasHostThreads() {
  CLSID class_id;
  return SUCCEEDED(CLSIDFromProgID(kThreading, &class_id));
}

std::int32_t StartHostThread(std::string_view progID, ParameterList parameters,
                             com::ComPtr<IUnknown> client) {
  CLSID class_id;
  const auto threads = CreateObject(kThreading, IID_IDispatch, class_id).As<IDispatch>();
  const auto name = com::Variant::OfText(com::Bstr(progID));
  const ParameterArray array(parameters);
  const VARIANT list = array.Argument();
  const auto face = com::Variant::OfObject(client.As<IDispatch>());
  return LongIn(com::Call(*threads, com::MemberOf(*threads, L"StartThread"),
                          {&name.get(), &list, &face.get()}));
}

}  // namespace quillmark::windows

// SPDX-License-Identifier: MIT
#include "component/com/thread_parameters.h"

#include <oleauto.h>

#include <utility>

#include "base/com/status.h"
#include "base/com/variant.h"
#include "component/com/quillmark_com.h"
#include "platform/windows/com_objects.h"

namespace quillmark {
namespace {

std::variant<std::int32_t, std::uint8_t, std::shared_ptr<DOMDocument>> ValueOf(VARIANT& element) {
  const com::Variant value = com::ValueOf(element);
  switch (value.type()) {
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return windows::WrapDocument(com::Share(V_UNKNOWN(&value.get())));
    case VT_UI1:
      return V_UI1(&value.get());
    default:
      return std::int32_t{V_I4(&com::ConvertedTo(VT_I4, value.get()).get())};
  }
}

bool IsListOfVariables(SAFEARRAY* array) {
  VARTYPE type = VT_EMPTY;
  return array != nullptr && array->cDims == 1 && SafeArrayGetVartype(array, &type) == S_OK &&
         type == VT_VARIANT;
}

class ComClient final : public XMLDocClient {
 public:
  explicit ComClient(com::ComPtr<IXMLDocClient> client) : client_(std::move(client)) {}

  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
    VARIANT_BOOL goes_on = VARIANT_FALSE;
    const HRESULT status = client_->XMLReady(windows::DispatchOf(xml).get(), &goes_on);
    if (FAILED(status)) {
      throw com::ReportedError(status);
    }
    return goes_on != VARIANT_FALSE;
  }

 private:
  com::ComPtr<IXMLDocClient> client_;
};

}  // namespace

ThreadParameters::ThreadParameters(SAFEARRAY* parameters) {
  LONG index = 0;
  LONG last = 0;
  if (!IsListOfVariables(parameters)) {
    throw Error(error_number::kTypeMismatch);
  }
  com::Require(SafeArrayGetLBound(parameters, 1, &index));
  com::Require(SafeArrayGetUBound(parameters, 1, &last));
  for (; index <= last; ++index) {
    com::Variant element;
    com::Require(SafeArrayGetElement(parameters, &index, element.Put()));
    const Value& value = values_.emplace_back(ValueOf(*element.InOut()));
    list_.push_back(std::visit([](const auto& copy) { return Parameter(&copy); }, value));
  }
}

std::shared_ptr<XMLDocClient> WrapClient(IUnknown* client) {
  auto receiver = com::Share(client).As<IXMLDocClient>();
  if (!receiver) {
    throw Error(error_number::kTypeMismatch);
  }
  return std::make_shared<ComClient>(std::move(receiver));
}

}  // namespace quillmark

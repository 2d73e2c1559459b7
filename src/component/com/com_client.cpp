// SPDX-License-Identifier: MIT
#include "component/com/com_client.h"

#include <utility>

#include "base/com/error_info.h"
#include "component/com/quillmark_com.h"
#include "platform/windows/com_objects.h"

namespace quillmark {
namespace {

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

std::shared_ptr<XMLDocClient> WrapClient(IUnknown* client) {
  auto receiver = com::Share(client).As<IXMLDocClient>();
  if (!receiver) {
    throw Error(error_number::kTypeMismatch);
  }
  return std::make_shared<ComClient>(std::move(receiver));
}

}  // namespace quillmark

// SPDX-License-Identifier: MIT
#include "host/runner/request_document.h"

#include <algorithm>

#include "quillmark/error.h"

namespace quillmark::host {
namespace {

[[noreturn]] void Refuse(const char* what) {
  throw Error(error_number::kTypeMismatch, std::string("not a request document: ") + what);
}

}  // namespace

Exchange ExchangeOf(const RequestDocument& request, TransportForm form) {
  if (request.is_on_k_line != (form == TransportForm::kKLine)) {
    Refuse(request.is_on_k_line ? "its root is \"k\", not \"can\""
                                : "its root is \"can\", not \"k\"");
  }
  return {form, request.receive_identifier, request.send_identifier};
}

RequestDocument ReadNewRequestDocument(const DOMDocument& document) {
  RequestDocument request = ReadRequestDocument(document);
  const auto was_run = [](const Step& step) { return step.received || step.failure; };
  if (std::any_of(request.steps.begin(), request.steps.end(), was_run)) {
    Refuse("it has been run before");
  }
  return request;
}

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "quillmark/host/bus.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quillmark::host {
namespace {

constexpr std::array<std::pair<TransportForm, const char*>, 3> kNames{{
    {TransportForm::kPlainCan, "can"},
    {TransportForm::kGateway, "gateway"},
    {TransportForm::kKLine, "kline"},
}};

}  // namespace

const char* NameOf(TransportForm form) {
  return std::find_if(kNames.begin(), kNames.end(),
                      [form](const auto& entry) { return entry.first == form; })
      ->second;
}

std::optional<TransportForm> TransportFormOfName(std::string_view name) {
  for (const auto& [form, form_name] : kNames) {
    if (form_name == name) {
      return form;
    }
  }
  return std::nullopt;
}

}  // namespace quillmark::host

// SPDX-License-Identifier: MIT
#include "bench/session.h"

#include <string>

namespace quillmark::bench {
namespace {

constexpr std::uint8_t kRL = 0x80;

std::string HexText(Span bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

}  // namespace

Session::Session(const Form& form) {
  diag_->CANIDs(form.RCANId, form.XCANId);
  diag_->FlowControl(form.block_size, form.separation_time);
}

std::shared_ptr<MemoryImage> Session::Image(Span bytes) const {
  const auto segment = platform_->CreateByteString();
  segment->SetHex(HexText(bytes));
  segment->SetStartAddress(0);
  auto image = platform_->CreateMemoryImage();
  image->AddSegment(*segment);
  return image;
}

std::shared_ptr<MemoryMap> Session::Map(std::size_t size) const {
  auto map = platform_->CreateMemoryMap();
  map->AddRange(0, static_cast<std::int32_t>(size));
  return map;
}

void Session::Download(const std::shared_ptr<MemoryImage>& image, std::int32_t alignment,
                       std::int32_t max_size, const Visit& visit) {
  ListenWith(visit);
  diag_->ComputeDownload(kRL, image, kFillByte, alignment, max_size);
  platform_->WaitForWorkers();
}

void Session::Upload(const std::shared_ptr<MemoryMap>& map, const Visit& visit) {
  ListenWith(visit);
  diag_->ComputeUpload(map, kRL);
  platform_->WaitForWorkers();
}

void Session::ListenWith(const Visit& visit) {
  diag_->OnXMLReady([visit](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    if (visit && node) {
      visit(*node);
    }
    cancel = false;
  });
}

}  // namespace quillmark::bench

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include "bench/inputs.h"
#include "quillmark/quillmark.h"

namespace quillmark::bench {

/// One configured object on a platform of its own, and whole transfers with it.
class Session {
 public:
  using Visit = std::function<void(IXMLDOMNode&)>;

  explicit Session(const Form& form);

  [[nodiscard]] DiagOnCANReprog& Diag() const { return *diag_; }
  [[nodiscard]] PortablePlatform& GetPlatform() const { return *platform_; }

  /// One segment at address 0.
  [[nodiscard]] std::shared_ptr<MemoryImage> Image(Span bytes) const;
  /// One range from address 0 on.
  [[nodiscard]] std::shared_ptr<MemoryMap> Map(std::size_t size) const;

  /// Run from the call to the end of the worker; `visit` (which may be empty) sees every document.
  void Download(const std::shared_ptr<MemoryImage>& image, std::int32_t alignment,
                std::int32_t max_size, const Visit& visit = {});
  void Upload(const std::shared_ptr<MemoryMap>& map, const Visit& visit = {});

 private:
  void ListenWith(const Visit& visit);

  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<DiagOnCANReprog> diag_ = CreateDiagOnCANReprog(platform_);
};

}  // namespace quillmark::bench

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "base/com/scriptable.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

namespace quillmark::vantrel {

/// `Vantrel.MemoryImage`: a collection of byte strings, enumerated in address order.
class MemoryImageObject final : public com::Scriptable {
 public:
  explicit MemoryImageObject(std::shared_ptr<MemoryImage> image) : image_(std::move(image)) {}

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<MemoryImage> image_;
};

/// `Vantrel.MemoryMap`: a collection of ranges, in the order in which they were added.
class MemoryMapObject final : public com::Scriptable {
 public:
  explicit MemoryMapObject(std::shared_ptr<MemoryMap> map) : map_(std::move(map)) {}

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<MemoryMap> map_;
};

}  // namespace quillmark::vantrel

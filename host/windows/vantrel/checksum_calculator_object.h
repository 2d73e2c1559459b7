// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "base/com/scriptable.h"
#include "quillmark/checksum_calculator.h"

namespace quillmark::vantrel {

/// `Vantrel.ChecksumCalculator`.
class ChecksumCalculatorObject final : public com::Scriptable {
 public:
  explicit ChecksumCalculatorObject(std::shared_ptr<ChecksumCalculator> calculator)
      : calculator_(std::move(calculator)) {}

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<ChecksumCalculator> calculator_;
};

}  // namespace quillmark::vantrel

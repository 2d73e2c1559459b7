// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "base/com/status.h"
#include "base/com/unknown.h"

namespace quillmark::com {

/// A COM enumerator over a fixed list. `Policy` has `Item`, which owns what it holds, `Raw`, what
/// the enumerator returns, and `Raw Copy(const Item&)`, which the caller then owns.
template <typename Interface, typename Policy>
class Enumerator final : public Unknown<Interface> {
 public:
  using Item = typename Policy::Item;
  using Raw = typename Policy::Raw;

  explicit Enumerator(std::vector<Item> items, std::size_t next = 0)
      : items_(std::move(items)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Raw* items, ULONG* fetched) override {
    if (items == nullptr || (fetched == nullptr && count != 1)) {
      return E_POINTER;
    }
    const ULONG given = static_cast<ULONG>(std::min<std::size_t>(count, items_.size() - next_));
    for (ULONG index = 0; index < given; ++index) {
      items[index] = Policy::Copy(items_[next_++]);
    }
    if (fetched != nullptr) {
      *fetched = given;
    }
    return given == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const ULONG left = static_cast<ULONG>(items_.size() - next_);
    next_ += std::min(count, left);
    return count <= left ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Clone(Interface** copy) override {
    if (copy == nullptr) {
      return E_POINTER;
    }
    *copy = nullptr;
    return Guarded([&] { *copy = new Enumerator(items_, next_); });
  }

 private:
  std::vector<Item> items_;
  std::size_t next_;
};

}  // namespace quillmark::com

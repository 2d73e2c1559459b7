#include "host/windows/vantrel/enumerator.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "base/com/unknown.h"

namespace quillmark::vantrel {
namespace {

using Items = std::vector<com::ComPtr<IDispatch>>;

class Enumerator final : public com::Unknown<IEnumVARIANT> {
 public:
  explicit Enumerator(Items items, std::size_t next = 0) : items_(std::move(items)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* values, ULONG* fetched) override {
    if (values == nullptr || (fetched == nullptr && count != 1)) {
      return E_POINTER;
    }
    ULONG stored = 0;
    while (stored < count && next_ < items_.size()) {
      values[stored++] = com::Variant::OfObject(items_[next_++]).Detach();
    }
    if (fetched != nullptr) {
      *fetched = stored;
    }
    return stored == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const std::size_t skipped = std::min<std::size_t>(count, items_.size() - next_);
    next_ += skipped;
    return skipped == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** clone) override {
    if (clone == nullptr) {
      return E_POINTER;
    }
    try {
      *clone = new Enumerator(items_, next_);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }

 private:
  Items items_;
  std::size_t next_;
};

}  // namespace

com::Variant EnumeratorOf(Items items) {
  com::Variant variant;
  V_UNKNOWN(variant.Put()) = new Enumerator(std::move(items));
  V_VT(variant.InOut()) = VT_UNKNOWN;
  return variant;
}

}  // namespace quillmark::vantrel

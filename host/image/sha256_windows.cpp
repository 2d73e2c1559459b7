// SPDX-License-Identifier: MIT
#include <windows.h>
// It needs the types of windows.h.
#include <bcrypt.h>

#include <algorithm>
#include <system_error>

#include "host/image/sha256.h"

namespace quillmark::host {
namespace {

void Require(NTSTATUS status) {
  if (status < 0) {
    throw std::system_error(status, std::system_category(), "SHA-256");
  }
}

}  // namespace

struct Sha256::State {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;

  State() {
    Require(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    Require(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0));
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  State(State&&) = delete;
  State& operator=(State&&) = delete;
  ~State() {
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
  }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}

Sha256::~Sha256() = default;

void Sha256::Add(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMost = 1U << 30U;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(bytes.size(), kMost));
    Require(BCryptHashData(state_->hash, const_cast<std::uint8_t*>(part.data()),
                           static_cast<ULONG>(part.size()), 0));
    bytes = bytes.subspan(part.size());
  }
}

Sha256::Digest Sha256::Finish() {
  Digest digest{};
  Require(BCryptFinishHash(state_->hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
  return digest;
}

}  // namespace quillmark::host

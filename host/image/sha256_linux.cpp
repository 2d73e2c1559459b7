// SPDX-License-Identifier: MIT
#include <nettle/sha2.h>

#include "host/image/sha256.h"

namespace quillmark::host {

struct Sha256::State {
  ::sha256_ctx context{};
};

Sha256::Sha256() : state_(std::make_unique<State>()) { ::sha256_init(&state_->context); }

Sha256::~Sha256() = default;

void Sha256::Add(std::span<const std::uint8_t> bytes) {
  ::sha256_update(&state_->context, bytes.size(), bytes.data());
}

Sha256::Digest Sha256::Finish() {
  Digest digest{};
  ::sha256_digest(&state_->context, digest.size(), digest.data());
  return digest;
}

}  // namespace quillmark::host

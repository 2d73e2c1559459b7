// SPDX-License-Identifier: MIT
#include "transfer/piece_stream.h"

#include <string>

#include "base/checked.h"
#include "base/guards.h"

namespace quillmark::transfer {
namespace {

constexpr std::int32_t kDocumentSize = 32768;

}  // namespace

void PieceStream::Skip(std::int32_t count) { covered_ = checked::Add(covered_, count); }

bool PieceStream::Add(ByteView request, ByteView expected, std::int32_t reply_length,
                      std::int32_t count) {
  document_->AddStep(request, expected, reply_length);
  covered_ = checked::Add(covered_, count);
  transferred_ = checked::Add(transferred_, count);
  if (transferred_ < kDocumentSize) {
    return true;
  }
  if (!Deliver()) {
    return false;
  }
  covered_ = 0;
  transferred_ = 0;
  document_.emplace(context_);
  return true;
}

void PieceStream::Finish() {
  if (Deliver()) {
    client_.XMLReady(nullptr);
  }
}

bool PieceStream::Deliver() {
  Require(document_->Document().documentElement())
      .setAttribute("totalbytes", std::to_string(covered_));
  const auto document = document_->Finish();
  // From here on the document belongs to the client; this thread keeps nothing of it.
  document_.reset();
  return client_.XMLReady(document);
}

}  // namespace quillmark::transfer

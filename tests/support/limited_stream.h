// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>

namespace quillmark::testing {

/// Takes so many bytes, then fails as a full disk does, and counts what is still offered to it.
class LimitedBuffer : public std::streambuf {
 public:
  explicit LimitedBuffer(std::size_t room) : room_(room) {}

  [[nodiscard]] const std::string& taken() const { return taken_; }
  [[nodiscard]] std::size_t offers_after_failure() const { return offers_after_failure_; }

 protected:
  int_type overflow(int_type c) override {
    if (failed_) {
      ++offers_after_failure_;
      return traits_type::eof();
    }
    failed_ = taken_.size() == room_;
    if (failed_) {
      return traits_type::eof();
    }
    taken_ += traits_type::to_char_type(c);
    return traits_type::not_eof(c);
  }

 private:
  std::size_t room_;
  std::string taken_;
  bool failed_ = false;
  std::size_t offers_after_failure_ = 0;
};

/// Lets `write` fail at each byte of what it writes in turn: it must leave the beginning of the
/// whole, a stream that says so, and offer nothing more.
inline void ExpectEndsWithItsStream(const std::function<void(std::ostream&)>& write) {
  std::size_t room = 0;
  for (bool failed = true; failed; ++room) {
    LimitedBuffer buffer(room);
    std::ostream out(&buffer);
    write(out);
    failed = !out;
    EXPECT_EQ(buffer.offers_after_failure(), 0U) << "with room for " << room << " bytes";
    EXPECT_EQ(buffer.taken().size(), failed ? room : buffer.taken().size());
  }
  EXPECT_GT(room, 1U) << "nothing was written";
}

}  // namespace quillmark::testing

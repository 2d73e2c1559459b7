// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// The input of the benchmarks, made from a fixed seed.
namespace quillmark::bench {

inline constexpr std::size_t kMiB = std::size_t{1} << 20U;
inline constexpr std::uint8_t kFillByte = 0xFF;

using Span = std::span<const std::uint8_t>;

enum class Transport : std::uint8_t { kPlainCan, kGateway, kKLine };

/// A transport form as a host configures it.
struct Form {
  std::string_view name;
  Transport transport;
  std::int32_t RCANId;
  std::int32_t XCANId;
  std::int32_t block_size;
  std::int32_t separation_time;
};

inline constexpr Form kPlainCan{"plain 1/0", Transport::kPlainCan, 1850, 1586, 1, 0};
inline constexpr Form kPlainCanBlocks{"plain 8/5", Transport::kPlainCan, 1850, 1586, 8, 5};
inline constexpr Form kGateway{"gateway", Transport::kGateway, 0, 0x6E, 1, 0};
inline constexpr Form kKLine{"K line", Transport::kKLine, 0, 0x11, 1, 0};
inline constexpr Form kForms[] = {kPlainCan, kPlainCanBlocks, kGateway, kKLine};

/// How much of an image is fill bytes.
enum class Filling : std::uint8_t {
  kDense,   ///< none
  kHalf,    ///< every second 4 KiB
  kSparse,  ///< 97 % of every 4 KiB
};

[[nodiscard]] std::string_view NameOf(Filling filling);

[[nodiscard]] std::vector<std::uint8_t> MakeImage(std::size_t size, Filling filling);

}  // namespace quillmark::bench

// SPDX-License-Identifier: MIT
#include "bench/table.h"

#include <array>
#include <cstdio>
#include <iostream>

namespace quillmark::bench {
namespace {

std::string Verdict(const char* kind, double bound, bool met) {
  return std::string(kind) + " " + Number(bound) + (met ? ": met" : ": MISSED");
}

}  // namespace

void PrintRow(const std::vector<std::string>& cells) {
  std::cout << '|';
  for (const std::string& cell : cells) {
    std::cout << ' ' << cell << " |";
  }
  std::cout << std::endl;
}

void PrintHeader(const std::string& title, const std::vector<std::string>& columns) {
  std::cout << "\n### " << title << "\n\n";
  PrintRow(columns);
  std::cout << '|';
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::cout << (column == 0 ? " --- |" : " ---: |");
  }
  std::cout << std::endl;
}

std::string Number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.3g", value);
  return text.data();
}

std::string Duration(double seconds) {
  if (seconds >= 1) {
    return Number(seconds) + " s";
  }
  if (seconds >= 1e-3) {
    return Number(seconds * 1e3) + " ms";
  }
  return seconds >= 1e-6 ? Number(seconds * 1e6) + " µs" : Number(seconds * 1e9) + " ns";
}

std::string Rate(double bytes, double seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*f MB/s", bytes / seconds < 1e8 ? 1 : 0,
                bytes / seconds / 1e6);
  return text.data();
}

std::string AtMost(double bound, double value) { return Verdict("at most", bound, value <= bound); }

std::string AtLeast(double bound, double value) {
  return Verdict("at least", bound, value >= bound);
}

}  // namespace quillmark::bench

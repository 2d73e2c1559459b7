// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/quillmark.h"

namespace quillmark::testing {

/// One of the three transport forms, as a test body that runs over all of them sees it.
struct Form {
  std::string_view name;
  std::int32_t RCANId;
  std::int32_t XCANId;
  std::string_view head;  ///< what a document begins with, up to the first step
  std::string_view tail;  ///< what follows the line end of the last step

  friend void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }
};

inline constexpr Form kPlainCan{"PlainCan", 1850, 1586,
                                "<?xml version='1.0'?><can>\r\n<x i=\"1850\">\r\n<i>1586</i>\r\n",
                                "</x>\r\n</can>"};
inline constexpr Form kGateway{"Gateway", 0, 0x6E,
                               "<?xml version='1.0'?><can>\r\n<x i=\"3\">\r\n<i>13</i>\r\n",
                               "</x>\r\n</can>"};
inline constexpr Form kKLine{"KLine", 0, 0x11, "<?xml version='1.0'?><k>\r\n", "\r\n</k>"};

inline constexpr Form kAllForms[] = {kPlainCan, kGateway, kKLine};

/// Names parameterised tests after their form.
struct FormName {
  template <typename T>
  std::string operator()(const ::testing::TestParamInfo<T>& info) const {
    return std::string(NameOf(info.param));
  }

 private:
  static std::string_view NameOf(const Form& form) { return form.name; }
  template <typename T>
  static std::string_view NameOf(const T& golden) {
    return golden.form.name;
  }
};

/// The document of `form` with these steps, each of which ends its line.
inline std::string Document(const Form& form, const std::vector<std::string>& steps) {
  std::string text(form.head);
  for (const std::string& step : steps) {
    text += step + "\r\n";
  }
  return text.append(form.tail);
}

/// The steps of a document, one by one.
inline std::string Send(std::string_view frame) {
  return "<s><d>" + std::string(frame) + "</d></s>";
}
inline std::string Receive(std::string_view prefix) {
  return "<r><c>" + std::string(prefix) + "</c></r>";
}

}  // namespace quillmark::testing

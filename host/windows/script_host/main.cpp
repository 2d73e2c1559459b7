// SPDX-License-Identifier: MIT
// script_host [/include:FILE]… FILE [ARGUMENT…]
//
// Runs a script in VBScript (.vbs) or JScript (.js), like the console host of Windows, for use
// where that is missing or lacks events. Exit code 0, or that of WScript.Quit; 1 after an uncaught
// error, 2 for an invalid command line.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/com/apartment.h"
#include "base/com/text.h"
#include "host/windows/script_host/script.h"

namespace quillmark::script_host {
namespace {

constexpr std::wstring_view kInclude = L"/include:";
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

struct CommandLine {
  std::vector<std::wstring> files;  ///< The included ones first, the script last.
  std::vector<std::wstring> arguments;
};

CommandLine Read(const std::vector<std::wstring>& words) {
  CommandLine line;
  auto word = words.begin();
  for (; word != words.end() && word->starts_with(kInclude); ++word) {
    line.files.push_back(word->substr(kInclude.size()));
  }
  if (word == words.end()) {
    throw std::invalid_argument("use: script_host [/include:FILE]... FILE [ARGUMENT...]");
  }
  line.files.push_back(*word++);
  line.arguments.assign(word, words.end());
  return line;
}

std::wstring EngineFor(const std::filesystem::path& file) {
  if (file.extension() == L".vbs") {
    return L"VBScript";
  }
  if (file.extension() == L".js") {
    return L"JScript";
  }
  throw std::invalid_argument("expected a script that ends with .vbs or .js");
}

std::wstring TextOf(const std::wstring& file) {
  std::ifstream in(std::filesystem::path(file), std::ios::binary);
  if (!in) {
    throw std::invalid_argument("cannot read " + com::Utf8Of(file));
  }
  return com::Utf16Of(std::string(std::istreambuf_iterator<char>(in), {}));
}

bool Run(const CommandLine& line) {
  const auto name = std::filesystem::absolute(line.files.back()).wstring();
  const auto wscript = com::ComPtr<WScript>::Adopt(new WScript(name, line.arguments));
  Script script(EngineFor(line.files.back()), wscript);
  return std::all_of(line.files.begin(), line.files.end(),
                     [&](const std::wstring& file) { return script.Run(file, TextOf(file)); });
}

int Main(const std::vector<std::wstring>& words) {
  try {
    const CommandLine line = Read(words);
    const com::Apartment apartment(COINIT_APARTMENTTHREADED);
    return Run(line) ? 0 : kFailed;
  } catch (const std::invalid_argument& error) {
    std::cerr << error.what() << '\n';
    return kWrongUse;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return kFailed;
  }
}

}  // namespace
}  // namespace quillmark::script_host

int wmain(int count, wchar_t** words) {
  return quillmark::script_host::Main({words + 1, words + count});
}

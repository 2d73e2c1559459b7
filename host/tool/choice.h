// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace quillmark::host {

/// Raises CLI::ValidationError for the option `name`, whose value is none of `words`.
[[noreturn]] void RefuseChoice(const std::string& name, const std::vector<std::string>& words,
                               const std::string& found);

/// The words as help shows them: "can|gateway|kline".
[[nodiscard]] std::string ChoiceText(const std::vector<std::string>& words);

/// Adds an option that takes one of a few words, each with the value that it stands for.
template <typename Value>
CLI::Option* AddChoice(CLI::App& app, const std::string& name,
                       const std::vector<std::pair<std::string, Value>>& choices,
                       std::function<void(const Value&)> store, const std::string& help) {
  std::vector<std::string> words;
  words.reserve(choices.size());
  for (const auto& choice : choices) {
    words.push_back(choice.first);
  }
  const auto choose = [name, choices, words, store = std::move(store)](const std::string& text) {
    const auto chosen = std::find_if(choices.begin(), choices.end(),
                                     [&](const auto& choice) { return choice.first == text; });
    if (chosen == choices.end()) {
      RefuseChoice(name, words, text);
    }
    store(chosen->second);
  };
  return app.add_option_function<std::string>(name, choose, help)->type_name(ChoiceText(words));
}

}  // namespace quillmark::host

// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/script/completion.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/script/words.hpp"

namespace quorra::cli {
namespace {

// They are there beside the commands of the program.
constexpr std::string_view shell_words[] = {"exit", "quit"};

// The names of files that begin like the end of `word`, which stands behind `before` in it.
void add_files(std::vector<std::string>& words, const std::string& word) {
  const bool is_value = word.starts_with('-') && word.find('=') != std::string::npos;
  const std::string before = is_value ? word.substr(0, word.find('=') + 1) : "";
  const std::string typed = word.substr(before.size());
  const std::size_t name_begins = typed.rfind('/') == std::string::npos ? 0 : typed.rfind('/') + 1;
  const std::string folder = typed.substr(0, name_begins);
  const std::string name = typed.substr(name_begins);
  std::error_code error;
  for (const auto& entry :
       std::filesystem::directory_iterator(folder.empty() ? "." : folder, error)) {
    const std::string found = entry.path().filename();
    if (!found.starts_with(name) || (found.starts_with('.') && name.empty())) continue;
    words.push_back(
        fmt::format("{}{}{}{}", before, folder, found, entry.is_directory(error) ? "/" : ""));
  }
}

}  // namespace

Completions completions_for(const Series& series, std::string_view line) {
  TypedWords typed = typed_words_of(line);
  if (typed.words.empty()) return {};
  if (typed.words.size() > 1 && typed.words.front() == "quorra") {
    typed.words.erase(typed.words.begin());
  }
  const std::string& word = typed.words.back();
  Completions found{.begins = typed.last_begins, .words = {}};
  std::istringstream candidates(series.complete(typed.words));
  for (std::string candidate; std::getline(candidates, candidate);) {
    if (candidate == ":files") {
      add_files(found.words, word);
    } else {
      found.words.push_back(candidate.substr(0, candidate.find('\t')));
    }
  }
  for (const std::string_view shell_word : shell_words) {
    if (typed.words.size() == 1 && shell_word.starts_with(word))
      found.words.emplace_back(shell_word);
  }
  std::ranges::sort(found.words);
  return found;
}

}  // namespace quorra::cli

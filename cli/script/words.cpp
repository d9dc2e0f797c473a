// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/script/words.hpp"

#include <utility>

#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

constexpr std::string_view blanks = " \t\r";
constexpr std::string_view escaped_in_quotes = "\\\"$`";

bool contains(std::string_view characters, char character) {
  return characters.find(character) != std::string_view::npos;
}

// Takes a line apart, character by character.
class Splitter {
 public:
  // False at the beginning of a comment.
  bool take(std::string_view line, std::size_t at) {
    const char character = line[at];
    if (is_escaped_) {
      is_escaped_ = false;
      word_.push_back(character);
    } else if (quote_ != '\0') {
      take_quoted(character, line.substr(at + 1));
    } else if (contains(blanks, character)) {
      end_word();
    } else if (character == '#' && !is_in_word_) {
      return false;
    } else {
      begin_word(at);
      take_plain(character);
    }
    return true;
  }

  void end_word() {
    if (is_in_word_) words_.push_back(word_);
    is_in_word_ = false;
  }

  void begin_word(std::size_t at) {
    if (is_in_word_) return;
    is_in_word_ = true;
    word_.clear();
    begins_ = at;
  }

  std::vector<std::string>& words() { return words_; }
  std::size_t begins() const { return begins_; }
  char quote() const { return quote_; }
  bool is_escaped() const { return is_escaped_; }

 private:
  void take_quoted(char character, std::string_view rest) {
    if (character == quote_) {
      quote_ = '\0';
    } else if (character == '\\' && quote_ == '"' && !rest.empty() &&
               contains(escaped_in_quotes, rest.front())) {
      is_escaped_ = true;
    } else {
      word_.push_back(character);
    }
  }

  void take_plain(char character) {
    if (character == '\'' || character == '"') {
      quote_ = character;
    } else if (character == '\\') {
      is_escaped_ = true;
    } else {
      word_.push_back(character);
    }
  }

  std::vector<std::string> words_;
  std::string word_;  // the one that is under way
  bool is_in_word_ = false;
  std::size_t begins_ = 0;
  char quote_ = '\0';
  bool is_escaped_ = false;
};

// Up to a comment; false if there is one.
bool take_all(Splitter& splitter, std::string_view line) {
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (!splitter.take(line, at)) return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> words_of(std::string_view line) {
  Splitter splitter;
  take_all(splitter, line);
  if (splitter.quote() != '\0') throw toolkit::UsageError("a quote is not closed");
  if (splitter.is_escaped()) throw toolkit::UsageError("nothing stands behind the backslash");
  splitter.end_word();
  return std::move(splitter.words());
}

TypedWords typed_words_of(std::string_view line) {
  Splitter splitter;
  if (!take_all(splitter, line)) return {};
  splitter.begin_word(line.size());
  splitter.end_word();
  return {.words = std::move(splitter.words()),
          .last_begins = splitter.begins(),
          .quote = splitter.quote()};
}

}  // namespace quorra::cli

// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/line_editor.hpp"

#include <dlfcn.h>
#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <utility>

// It declares a function of the C library once more, unless this is defined.
#define HAVE_WCSDUP
#include <histedit.h>

#include "cli/terminal/terminal.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

using toolkit::Failure;

constexpr int most_history = 1000;

// Loaded by those who edit lines; every other command would pay for what it needs to start.
class EditLibrary {
 public:
  EditLibrary() {
    // It stays to the end of the process.
    void* const library = dlopen("libedit.so.2", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      throw Failure(
          fmt::format("editing lines: {}; install the Debian package libedit2", dlerror()));
    }
    find(library, "el_init", init);
    find(library, "el_end", end);
    find(library, "el_set", set);
    find(library, "el_wset", set_wide);
    find(library, "el_get", get);
    find(library, "el_gets", gets);
    find(library, "el_line", line);
    find(library, "el_deletestr", delete_text);
    find(library, "el_insertstr", insert_text);
    find(library, "history_init", history_init);
    find(library, "history_end", history_end);
    find(library, "history", history);
  }

  decltype(&el_init) init = nullptr;
  decltype(&el_end) end = nullptr;
  decltype(&el_set) set = nullptr;
  decltype(&el_wset) set_wide = nullptr;
  decltype(&el_get) get = nullptr;
  decltype(&el_gets) gets = nullptr;
  decltype(&el_line) line = nullptr;
  decltype(&el_deletestr) delete_text = nullptr;
  decltype(&el_insertstr) insert_text = nullptr;
  decltype(&::history_init) history_init = nullptr;
  decltype(&::history_end) history_end = nullptr;
  decltype(&::history) history = nullptr;

 private:
  template <typename Function>
  static void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) throw Failure(fmt::format("editing lines: {}", dlerror()));
  }
};

const EditLibrary& library() {
  static const EditLibrary loaded;
  return loaded;
}

// Whether a byte of UTF-8 begins a character.
bool begins_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }

std::string common_beginning(const std::vector<std::string>& words) {
  std::string common = words.front();
  for (const std::string& word : words) {
    const auto ends = std::ranges::mismatch(common, word);
    common.erase(ends.in1, common.end());
  }
  return common;
}

// The word as one that is typed.
std::string with_backslashes(std::string_view word) {
  constexpr std::string_view special = " \t'\"\\#";
  std::string typed;
  for (const char character : word) {
    if (special.find(character) != std::string_view::npos) typed += '\\';
    typed += character;
  }
  return typed;
}

// Below one another, or side by side where there is room.
std::string in_columns(const std::vector<std::string>& words, int width) {
  std::size_t column = 0;
  for (const std::string& word : words) {
    column = std::max(column, word.size() + 2);
  }
  const std::size_t in_line =
      std::max<std::size_t>(1, static_cast<std::size_t>(width - 1) / column);
  std::string text;
  for (std::size_t at = 0; at < words.size(); ++at) {
    const bool ends_line = (at + 1) % in_line == 0 || at + 1 == words.size();
    text += ends_line ? words[at] + '\n' : fmt::format("{:<{}}", words[at], column);
  }
  return text;
}

}  // namespace

class LineEditor::Editor {
 public:
  Editor(std::string prompt, int interruption, Complete complete)
      : prompt_(std::move(prompt)),
        interruption_(interruption),
        complete_(std::move(complete)),
        output_(fdopen(dup(STDERR_FILENO), "w")) {
    // The bytes of what is typed are characters for the editing, too.
    static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
    history_ = library().history_init();
    HistEvent event{};
    library().history(history_, &event, H_SETSIZE, most_history);
    library().history(history_, &event, H_SETUNIQUE, 1);
    edit_ = library().init("quorra", stdin, output_, stderr);
    library().set(edit_, EL_CLIENTDATA, this);
    library().set(edit_, EL_PROMPT, &show_prompt);
    library().set(edit_, EL_EDITOR, "emacs");
    library().set(edit_, EL_SIGNAL, 1);
    library().set(edit_, EL_HIST, library().history, history_);
    library().set(edit_, EL_GETCFN, &next_character);
    // el_set would make copies of the texts, which nobody frees.
    library().set_wide(edit_, EL_ADDFN, L"complete-word", L"Complete the word", &complete_word);
    library().set(edit_, EL_BIND, "\t", "complete-word", nullptr);
    library().set(edit_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  }
  Editor(const Editor&) = delete;
  Editor& operator=(const Editor&) = delete;
  ~Editor() {
    library().end(edit_);
    library().history_end(history_);
    static_cast<void>(std::fclose(output_));
  }

  std::optional<std::string> read() {
    // What commands told comes before the prompt.
    static_cast<void>(std::fflush(stdout));
    // What is typed as soon as the prompt is there is shown once.
    library().set(edit_, EL_PREP_TERM, 1);
    int count = 0;
    const char* text = library().gets(edit_, &count);
    if (text == nullptr) return std::nullopt;
    std::string line(text, static_cast<std::size_t>(count));
    if (line.ends_with('\n')) line.pop_back();
    return line;
  }

  void remember(const std::string& line) {
    HistEvent event{};
    library().history(history_, &event, H_ENTER, line.c_str());
  }

 private:
  static Editor& of(EditLine* edit) {
    void* editor = nullptr;
    library().get(edit, EL_CLIENTDATA, &editor);
    return *static_cast<Editor*>(editor);
  }

  static char* show_prompt(EditLine* edit) { return of(edit).prompt_.data(); }

  // 1 and a character, 0 at the end, -1 when the wait is to end.
  static int next_character(EditLine* edit, wchar_t* character) {
    const int interruption = of(edit).interruption_;
    std::mbstate_t state{};
    while (true) {
      std::array<pollfd, 2> waited = {{{STDIN_FILENO, POLLIN, 0}, {interruption, POLLIN, 0}}};
      if (poll(waited.data(), waited.size(), -1) < 0) {
        if (errno == EINTR) continue;
        return -1;
      }
      if (waited[1].revents != 0) return -1;
      char byte = 0;
      const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
      if (count <= 0) return static_cast<int>(count);
      const std::size_t length = std::mbrtowc(character, &byte, 1, &state);
      if (length == 0 || length == 1) return 1;
      constexpr auto not_utf8 = static_cast<std::size_t>(-1);
      if (length == not_utf8) state = {};
    }
  }

  static unsigned char complete_word(EditLine* edit, wint_t /*key*/) { return of(edit).complete(); }

  unsigned char complete() {
    const LineInfo* line = library().line(edit_);
    const std::string_view typed(line->buffer,
                                 static_cast<std::size_t>(line->cursor - line->buffer));
    const Completions found = complete_(typed);
    if (found.words.empty()) return CC_REFRESH_BEEP;
    const std::string_view end = typed.substr(found.begins);
    std::string better = with_backslashes(common_beginning(found.words));
    const bool is_whole = found.words.size() == 1 && !better.ends_with('/');
    if (is_whole) better += ' ';
    if (better == end) {
      static_cast<void>(std::fputs(
          ('\n' + in_columns(found.words, terminal_width(STDERR_FILENO))).c_str(), output_));
      return CC_REDISPLAY;
    }
    library().delete_text(edit_, static_cast<int>(std::ranges::count_if(end, begins_character)));
    library().insert_text(edit_, better.c_str());
    return CC_REFRESH;
  }

  std::string prompt_;
  int interruption_;
  Complete complete_;
  std::FILE* output_;
  History* history_ = nullptr;
  EditLine* edit_ = nullptr;
};

LineEditor::LineEditor(std::string prompt, int interruption, Complete complete)
    : editor_(std::make_unique<Editor>(std::move(prompt), interruption, std::move(complete))) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::read() { return editor_->read(); }

void LineEditor::remember(const std::string& line) { editor_->remember(line); }

}  // namespace quorra::cli

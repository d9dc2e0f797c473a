// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/processor/status_words.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <string_view>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

struct Meaning {
  unsigned status_words;
  std::string_view words;
};

// In these the card puts no number of its own.
constexpr Meaning meanings[] = {
    {0x9000, "done"},

    {0x6200, "warning: nothing was changed"},
    {0x6281, "warning: a part of the data may be damaged"},
    {0x6282, "warning: the file or record ended before all bytes were read"},
    {0x6283, "warning: the selected file is deactivated"},
    {0x6284, "warning: the file's control information has another form"},
    {0x6285, "warning: the selected file has come to its end of life"},
    {0x6286, "warning: no data from a sensor of the card"},
    {0x6287, "warning: one of the records is deactivated"},
    {0x6300, "warning: memory was changed; after a code or key: it is wrong"},
    {0x6381, "warning: the file is full now"},

    {0x6400, "not carried out; nothing was changed"},
    {0x6401, "the card wants an answer first"},
    {0x6500, "not carried out; memory was changed"},
    {0x6581, "memory failure"},
    {0x6600, "not carried out for the card's security"},

    {0x6700, "wrong length"},
    {0x6800, "a function of the class is not supported"},
    {0x6881, "logical channel not supported"},
    {0x6882, "secure messaging not supported"},
    {0x6883, "the last command of a chain was expected"},
    {0x6884, "command chaining not supported"},
    {0x6900, "command not allowed"},
    {0x6981, "command does not fit this kind of file"},
    {0x6982, "security condition not satisfied"},
    {0x6983, "the code or key is blocked"},
    {0x6984, "the code, key or challenge cannot be used"},
    {0x6985, "conditions of use not satisfied"},
    {0x6986, "command not allowed: no file is selected"},
    {0x6987, "secure messaging objects are missing"},
    {0x6988, "secure messaging objects are wrong"},
    {0x6A00, "wrong parameters P1 P2"},
    {0x6A80, "wrong data"},
    {0x6A81, "function not supported"},
    {0x6A82, "file or application not found"},
    {0x6A83, "record not found"},
    {0x6A84, "no room in the file"},
    {0x6A85, "length does not fit the structure of the data"},
    {0x6A86, "wrong parameters P1 P2"},
    {0x6A87, "length does not fit P1 P2"},
    {0x6A88, "code, key or data object not found"},
    {0x6A89, "file exists already"},
    {0x6A8A, "application name exists already"},
    {0x6B00, "wrong parameters P1 P2: outside the file"},
    {0x6D00, "instruction not supported"},
    {0x6E00, "class not supported"},
    {0x6F00, "failed; the card does not say why"},
};

// In these the card puts a number of its own into the lower bits.
struct NumberedMeaning {
  unsigned status_words;
  unsigned number_bits;
  std::string_view noun;
  std::string_view words;
};

constexpr NumberedMeaning numbered_meanings[] = {
    {0x6100, 0xFF, "byte", "more to be fetched"},
    {0x63C0, 0x0F, "attempt", "left"},
    {0x6C00, 0xFF, "byte", "would be the right length"},
};

// What SW1 says where SW2 is not known.
constexpr Meaning first_byte_meanings[] = {
    {0x6200, "warning: nothing was changed"},
    {0x6300, "warning: memory was changed"},
    {0x6400, "not carried out; nothing was changed"},
    {0x6500, "not carried out; memory was changed"},
    {0x6600, "not carried out for the card's security"},
    {0x6800, "a function of the class is not supported"},
    {0x6900, "command not allowed"},
    {0x6A00, "wrong parameters P1 P2"},
};

template <std::size_t size>
const Meaning* find_meaning(const Meaning (&table)[size], unsigned status_words) {
  const auto* const found = std::ranges::find(table, status_words, &Meaning::status_words);
  return found == std::end(table) ? nullptr : found;
}

std::string words_for_status_words(unsigned status_words) {
  if (const Meaning* meaning = find_meaning(meanings, status_words)) {
    return std::string(meaning->words);
  }
  for (const NumberedMeaning& meaning : numbered_meanings) {
    if ((status_words & ~meaning.number_bits) != meaning.status_words) continue;
    const unsigned number = status_words & meaning.number_bits;
    // Where a byte counts bytes, 0 means 256.
    const bool is_full = number == 0 && meaning.number_bits == 0xFF;
    return fmt::format("{} {}", counted(is_full ? 256 : static_cast<int>(number), meaning.noun),
                       meaning.words);
  }
  if (const Meaning* meaning = find_meaning(first_byte_meanings, status_words & 0xFF00)) {
    return std::string(meaning->words);
  }
  return "the card's own status words";
}

}  // namespace

std::string describe_status_words(unsigned status_words) {
  return fmt::format("{:04X}: {}", status_words, words_for_status_words(status_words));
}

}  // namespace quorra::toolkit

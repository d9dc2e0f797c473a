// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <openssl/des.h>
#include <quorra.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded_bytes.hpp"

namespace quorra::testing {
namespace {

constexpr unsigned char untouched = 0xEE;

std::size_t padded(std::size_t length) { return (length + 7) / 8 * 8; }

using Cipher = int (*)(const unsigned char* key, int key_length, const unsigned char* input,
                       unsigned length, unsigned char* output);

// What a cipher makes of the input. Neither key nor input can be read beyond their ends, and no
// more can be written than the padded length, which is also the result.
Bytes result_of(Cipher cipher, const Bytes& key, int key_length, const Bytes& input) {
  const GuardedBytes guarded_key(key);
  const GuardedBytes guarded_input(input);
  GuardedBytes output(Bytes(padded(input.size()), untouched));
  EXPECT_EQ(cipher(guarded_key.data(), key_length, guarded_input.data(),
                   static_cast<unsigned>(input.size()), output.data()),
            output.size());
  EXPECT_EQ(guarded_key.content(), key);
  EXPECT_EQ(guarded_input.content(), input);
  return output.content();
}

Bytes encrypted(const Bytes& key, const Bytes& input) {
  return result_of(DES_Encrypt, key, 8, input);
}

Bytes decrypted(const Bytes& key, const Bytes& input) {
  return result_of(DES_Decrypt, key, 8, input);
}

// The same by OpenSSL, which knows neither padding nor other lengths of key.
Bytes by_openssl(int direction, Bytes key, Bytes input) {
  key.resize(8);
  input.resize(padded(input.size()));
  DES_key_schedule schedule;
  DES_set_key_unchecked(reinterpret_cast<const_DES_cblock*>(key.data()), &schedule);
  Bytes output(input.size());
  for (std::size_t at = 0; at < input.size(); at += 8) {
    DES_ecb_encrypt(reinterpret_cast<const_DES_cblock*>(input.data() + at),
                    reinterpret_cast<DES_cblock*>(output.data() + at), &schedule, direction);
  }
  return output;
}

const Bytes example_key = hex("13 34 57 79 9B BC DF F1");
const Bytes example_plain = hex("01 23 45 67 89 AB CD EF");
const Bytes example_cipher = hex("85 E8 13 54 0F 0A B4 05");

TEST(Des, EncryptsAndDecryptsTheExample) {
  Bytes output(9, untouched);
  EXPECT_EQ(ic_encrypt(example_key.data(), example_plain.data(), 8, output.data()), 8);
  EXPECT_EQ(output, example_cipher + Bytes{untouched});
  Bytes plain(9, untouched);
  EXPECT_EQ(ic_decrypt(example_key.data(), output.data(), 8, plain.data()), 0);
  EXPECT_EQ(plain, example_plain + Bytes{untouched});
}

struct Known {
  const char* key;
  const char* plain;
  const char* cipher;
};

// The known-answer tests of the standard: each bit of the text alone, ...
constexpr Known variable_plaintext[] = {
    {"0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},
    {"0101010101010101", "4000000000000000", "DD7F121CA5015619"},
    {"0101010101010101", "2000000000000000", "2E8653104F3834EA"},
    {"0101010101010101", "1000000000000000", "4BD388FF6CD81D4F"},
    {"0101010101010101", "0800000000000000", "20B9E767B2FB1456"},
    {"0101010101010101", "0400000000000000", "55579380D77138EF"},
    {"0101010101010101", "0200000000000000", "6CC5DEFAAF04512F"},
    {"0101010101010101", "0100000000000000", "0D9F279BA5D87260"},
    {"0101010101010101", "0080000000000000", "D9031B0271BD5A0A"},
    {"0101010101010101", "0040000000000000", "424250B37C3DD951"},
    {"0101010101010101", "0020000000000000", "B8061B7ECD9A21E5"},
    {"0101010101010101", "0010000000000000", "F15D0F286B65BD28"},
    {"0101010101010101", "0008000000000000", "ADD0CC8D6E5DEBA1"},
    {"0101010101010101", "0004000000000000", "E6D5F82752AD63D1"},
    {"0101010101010101", "0002000000000000", "ECBFE3BD3F591A5E"},
    {"0101010101010101", "0001000000000000", "F356834379D165CD"},
};

// ... each bit of the key alone, ...
constexpr Known variable_key[] = {
    {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
    {"4001010101010101", "0000000000000000", "0EEC1487DD8C26D5"},
    {"2001010101010101", "0000000000000000", "7AD16FFB79C45926"},
    {"1001010101010101", "0000000000000000", "D3746294CA6A6CF3"},
    {"0801010101010101", "0000000000000000", "809F5F873C1FD761"},
    {"0401010101010101", "0000000000000000", "C02FAFFEC989D1FC"},
    {"0201010101010101", "0000000000000000", "4615AA1D33E72F10"},
    {"0180010101010101", "0000000000000000", "2055123350C00858"},
    {"0140010101010101", "0000000000000000", "DF3B99D6577397C8"},
    {"0120010101010101", "0000000000000000", "31FE17369B5288C9"},
    {"0110010101010101", "0000000000000000", "DFDD3CC64DAE1642"},
    {"0108010101010101", "0000000000000000", "178C83CE2B399D94"},
    {"0104010101010101", "0000000000000000", "50F636324A9B7F80"},
    {"0102010101010101", "0000000000000000", "A8468EE3BC18F06D"},
    {"0101800101010101", "0000000000000000", "A2DC9E92FD3CDE92"},
};

// ... keys that show the permutation of the round, ...
constexpr Known permutation_operation[] = {
    {"1046913489980131", "0000000000000000", "88D55E54F54C97B4"},
    {"1007103489988020", "0000000000000000", "0C0CC00C83EA48FD"},
    {"10071034C8980120", "0000000000000000", "83BC8EF3A6570183"},
    {"1046103489988020", "0000000000000000", "DF725DCAD94EA2E9"},
    {"1086911519190101", "0000000000000000", "E652B53B550BE8B0"},
    {"1086911519580101", "0000000000000000", "AF527120C485CBB0"},
    {"5107B01519580101", "0000000000000000", "0F04CE393DB926D5"},
    {"1007B01519190101", "0000000000000000", "C9F00FFC74079067"},
    {"3107915498080101", "0000000000000000", "7CFD82A593252B4E"},
    {"3107919498080101", "0000000000000000", "CB49A2F9E91363E3"},
    {"10079115B9080140", "0000000000000000", "00B588BE70D23F56"},
    {"3107911598080140", "0000000000000000", "406A9A6AB43399AE"},
    {"1007D01589980101", "0000000000000000", "6CB773611DCA9ADA"},
    {"9107911589980101", "0000000000000000", "67FD21C17DBB5D70"},
    {"9107D01589190101", "0000000000000000", "9592CB4110430787"},
    {"1007D01598980120", "0000000000000000", "A6B7FF68A318DDD3"},
    {"1007940498190101", "0000000000000000", "4D102196C914CA16"},
    {"0107910491190401", "0000000000000000", "2DFA9F4573594965"},
    {"0107910491190101", "0000000000000000", "B46604816C0E0774"},
    {"0107940491190401", "0000000000000000", "6E7E6221A4F34E87"},
    {"19079210981A0101", "0000000000000000", "AA85E74643233199"},
    {"1007911998190801", "0000000000000000", "2E5A19DB4D1962D6"},
    {"10079119981A0801", "0000000000000000", "23A866A809D30894"},
    {"1007921098190101", "0000000000000000", "D812D961F017D320"},
    {"100791159819010B", "0000000000000000", "055605816E58608F"},
    {"1004801598190101", "0000000000000000", "ABD88E8B1B7716F1"},
    {"1004801598190102", "0000000000000000", "537AC95BE69DA1E1"},
    {"1004801598190108", "0000000000000000", "AED0F6AE3C25CDD8"},
    {"1002911598100104", "0000000000000000", "B3E35A5EE53E7B8D"},
    {"1002911598190104", "0000000000000000", "61C79C71921A2EF8"},
    {"1002911598100201", "0000000000000000", "E2F5728F0995013C"},
    {"1002911698100101", "0000000000000000", "1AEAC39A61F0A464"},
};

// ... and texts that reach every entry of the substitution tables.
constexpr Known substitution_tables[] = {
    {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
    {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
    {"3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
    {"04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
    {"0113B970FD34F2CE", "059B5E0851CF143A", "86A560F10EC6D85B"},
    {"0170F175468FB5E6", "0756D8E0774761D2", "0CD3DA020021DC09"},
    {"43297FAD38E373FE", "762514B829BF486A", "EA676B2CB7DB2B7A"},
    {"07A7137045DA2A16", "3BDD119049372802", "DFD64A815CAF1A0F"},
    {"04689104C2FD3B2F", "26955F6835AF609A", "5C513C9C4886C088"},
    {"37D06BB516CB7546", "164D5E404F275232", "0A2AEEAE3FF4AB77"},
    {"1F08260D1AC2465E", "6B056E18759F5CCA", "EF1BF03E5DFA575A"},
    {"584023641ABA6176", "004BD6EF09176062", "88BF0DB6D70DEE56"},
    {"025816164629B007", "480D39006EE762F2", "A1F9915541020B56"},
    {"49793EBC79B3258F", "437540C8698F3CFA", "6FBF1CAFCFFD0556"},
    {"4FB05E1515AB73A7", "072D43A077075292", "2F22E49BAB7CA1AC"},
    {"49E95D6D4CA229BF", "02FE55778117F12A", "5A6B612CC26CCE4A"},
    {"018310DC409B26D6", "1D9D5C5018F728C2", "5F4C038ED12B2E41"},
    {"1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"},
};

void expect_known(const Bytes& key, const Bytes& plain, const Bytes& cipher) {
  SCOPED_TRACE(to_hex(key) + ", " + to_hex(plain));
  EXPECT_EQ(to_hex(encrypted(key, plain)), to_hex(cipher));
  EXPECT_EQ(to_hex(decrypted(key, cipher)), to_hex(plain));
  EXPECT_EQ(to_hex(by_openssl(DES_ENCRYPT, key, plain)), to_hex(cipher)) << "by OpenSSL";
}

TEST(Des, GivesTheKnownAnswersOfTheStandard) {
  const auto expect_all = [](const auto& table) {
    for (const Known& row : table)
      expect_known(hex(row.key), hex(row.plain), hex(row.cipher));
  };
  expect_all(variable_plaintext);
  expect_all(variable_key);
  expect_all(permutation_operation);
  expect_all(substitution_tables);
}

TEST(Des, GivesTheAnswerForEachBitOfTextAndKey) {
  for (std::size_t bit = 0; bit < 64; ++bit) {
    Bytes plain(8, 0);
    plain[bit / 8] = static_cast<unsigned char>(0x80U >> (bit % 8));
    const Bytes no_key(8, 0x01);
    expect_known(no_key, plain, by_openssl(DES_ENCRYPT, no_key, plain));
    // With the initial permutation, the cipher text is back where it was.
    expect_known(no_key, encrypted(no_key, plain), plain);

    if (bit % 8 == 7) continue;
    Bytes key(8, 0x01);
    key[bit / 8] = static_cast<unsigned char>(0x80U >> (bit % 8));
    expect_known(key, Bytes(8, 0), by_openssl(DES_ENCRYPT, key, Bytes(8, 0)));
  }
}

Bytes random_bytes(std::mt19937& engine, std::size_t count) {
  Bytes bytes(count);
  std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(engine()); });
  return bytes;
}

TEST(Des, AgreesWithOpenSslForAllLengths) {
  std::mt19937 engine(7);
  // Around these many blocks are worked on in another way, or in one go more.
  std::vector<std::size_t> lengths;
  for (const std::size_t round : {512U, 1024U, 1536U, 2048U, 8000U, 8192U}) {
    for (std::size_t length = round - 9; length <= round + 9; ++length)
      lengths.push_back(length);
  }
  for (std::size_t length = 0; length <= 97; ++length)
    lengths.push_back(length);
  for (int i = 0; i < 10; ++i)
    lengths.push_back(engine() % 20'000);
  for (const std::size_t length : lengths) {
    SCOPED_TRACE(length);
    const Bytes key = random_bytes(engine, 8);
    const Bytes input = random_bytes(engine, length);
    EXPECT_TRUE(encrypted(key, input) == by_openssl(DES_ENCRYPT, key, input));
    EXPECT_TRUE(decrypted(key, input) == by_openssl(DES_DECRYPT, key, input));
  }
}

// Each block in its place, also when it is one of many that are worked on at the same time.
TEST(Des, KeepsBlocksApart) {
  std::mt19937 engine(17);
  for (const std::size_t blocks : {4U, 64U, 128U, 200U}) {
    const Bytes key = random_bytes(engine, 8);
    const Bytes input = random_bytes(engine, blocks * 8);
    const Bytes output = encrypted(key, input);
    for (std::size_t changed = 0; changed < blocks; ++changed) {
      SCOPED_TRACE(changed);
      Bytes other = input;
      other[changed * 8 + changed % 8] ^= 0x10U;
      const Bytes other_output = encrypted(key, other);
      for (std::size_t at = 0; at < blocks * 8; at += 8) {
        const bool same = std::equal(&output[at], &output[at] + 8, &other_output[at]);
        ASSERT_EQ(same, at != changed * 8) << at;
      }
    }
  }
}

// Of many blocks under one key, too, each entry of the substitution tables is reached.
TEST(Des, AgreesWithOpenSslForManyKeysAndManyBlocks) {
  std::mt19937 engine(19);
  for (int i = 0; i < 50; ++i) {
    SCOPED_TRACE(i);
    const Bytes key = random_bytes(engine, 8);
    const Bytes input = random_bytes(engine, 2048);
    EXPECT_TRUE(encrypted(key, input) == by_openssl(DES_ENCRYPT, key, input));
    EXPECT_TRUE(decrypted(key, input) == by_openssl(DES_DECRYPT, key, input));
  }
}

TEST(Des, AgreesWithOpenSslForManyKeys) {
  std::mt19937 engine(11);
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    const Bytes key = random_bytes(engine, 8);
    const Bytes plain = random_bytes(engine, 8);
    expect_known(key, plain, by_openssl(DES_ENCRYPT, key, plain));
  }
}

TEST(Des, PadsWithZeros) {
  const Bytes input = counting(9, 0x31);
  Bytes output(17, untouched);
  EXPECT_EQ(ic_encrypt(example_key.data(), input.data(), 9, output.data()), 16);
  EXPECT_EQ(output.back(), untouched);
  output.pop_back();
  EXPECT_EQ(to_hex(output), to_hex(encrypted(example_key, counting(8, 0x31)) +
                                   encrypted(example_key, hex("39 00 00 00 00 00 00 00"))));
  Bytes plain(17, untouched);
  EXPECT_EQ(ic_decrypt(example_key.data(), output.data(), 16, plain.data()), 0);
  EXPECT_EQ(to_hex(plain), to_hex(input + Bytes(7, 0) + Bytes{untouched}));

  // A part of a cipher text is completed by zeros as well.
  EXPECT_EQ(ic_decrypt(example_key.data(), output.data(), 9, plain.data()), 0);
  EXPECT_EQ(to_hex(plain),
            to_hex(counting(8, 0x31) + by_openssl(DES_DECRYPT, example_key, Bytes{output[8]}) +
                   Bytes{untouched}));
}

TEST(Des, DoesNothingWithoutInput) {
  Bytes output(8, untouched);
  for (const Cipher cipher : {DES_Encrypt, DES_Decrypt})
    EXPECT_EQ(cipher(example_key.data(), 8, example_plain.data(), 0, output.data()), 0);
  EXPECT_EQ(ic_encrypt(example_key.data(), example_plain.data(), 0, output.data()), 0);
  EXPECT_EQ(ic_decrypt(example_key.data(), example_plain.data(), 0, output.data()), 0);
  EXPECT_EQ(output, Bytes(8, untouched));
}

TEST(Des, DoesNothingWithoutAPointerThatItNeeds) {
  Bytes output(8, untouched);
  const unsigned char* const key = example_key.data();
  const unsigned char* const input = example_plain.data();
  for (const Cipher cipher : {DES_Encrypt, DES_Decrypt}) {
    EXPECT_EQ(cipher(nullptr, 8, input, 8, output.data()), 0);
    EXPECT_EQ(cipher(nullptr, 1, input, 8, output.data()), 0);
    EXPECT_EQ(cipher(key, 8, nullptr, 8, output.data()), 0);
    EXPECT_EQ(cipher(key, 8, input, 8, nullptr), 0);
    EXPECT_EQ(cipher(nullptr, 8, nullptr, UINT_MAX, nullptr), 0);
  }
  EXPECT_EQ(ic_encrypt(nullptr, input, 8, output.data()), 0);
  EXPECT_EQ(ic_decrypt(nullptr, input, 8, output.data()), 0);
  EXPECT_EQ(output, Bytes(8, untouched));
}

TEST(Des, DecryptsWithResultZeroWhateverTheLength) {
  for (const unsigned length : {1U, 8U, 9U, 64U, 1023U, 8001U}) {
    const Bytes input = counting(length);
    GuardedBytes output(Bytes(padded(length), untouched));
    EXPECT_EQ(ic_decrypt(example_key.data(), input.data(), length, output.data()), 0);
    EXPECT_TRUE(output.content() == by_openssl(DES_DECRYPT, example_key, input)) << length;
  }
}

TEST(Des, ChainsNothing) {
  const Bytes once = encrypted(example_key, example_plain);
  EXPECT_EQ(encrypted(example_key, example_plain + example_plain), once + once);
  EXPECT_EQ(decrypted(example_key, once + once), example_plain + example_plain);
}

TEST(Des, WorksInPlace) {
  for (const std::size_t length :
       {std::size_t{1}, std::size_t{8}, std::size_t{24}, std::size_t{40}, std::size_t{41},
        std::size_t{1025}, std::size_t{8001}, std::size_t{16'008}}) {
    Bytes input = counting(length, 0x17);
    GuardedBytes place(input + Bytes(padded(length) - length, untouched));
    const auto size = static_cast<unsigned>(length);
    const auto padded_size = static_cast<unsigned>(padded(length));
    EXPECT_EQ(DES_Encrypt(example_key.data(), 8, place.data(), size, place.data()), place.size());
    EXPECT_TRUE(place.content() == by_openssl(DES_ENCRYPT, example_key, input)) << length;
    EXPECT_EQ(DES_Decrypt(example_key.data(), 8, place.data(), padded_size, place.data()),
              place.size());
    input.resize(padded(length));
    EXPECT_TRUE(place.content() == input) << length;
  }
}

TEST(DesKey, HasParityBitsThatDoNotMatter) {
  Bytes flipped = example_key;
  for (unsigned char& byte : flipped) {
    byte = static_cast<unsigned char>(byte ^ 1U);
    EXPECT_EQ(encrypted(flipped, example_plain), example_cipher);
    EXPECT_EQ(decrypted(flipped, example_cipher), example_plain);
  }
  for (std::size_t bit = 0; bit < 64; ++bit) {
    Bytes other = example_key;
    other[bit / 8] = static_cast<unsigned char>(other[bit / 8] ^ (0x80U >> (bit % 8)));
    EXPECT_EQ(encrypted(other, example_plain) == example_cipher, bit % 8 == 7) << bit;
  }
}

TEST(DesKey, IsCompletedByZeros) {
  for (std::size_t length = 0; length <= 8; ++length) {
    // Behind these bytes of the key, nothing can be read.
    const Bytes part(example_key.begin(),
                     example_key.begin() + static_cast<std::ptrdiff_t>(length));
    const int key_length = static_cast<int>(length);
    EXPECT_EQ(result_of(DES_Encrypt, part, key_length, example_plain),
              by_openssl(DES_ENCRYPT, part, example_plain))
        << length;
    EXPECT_EQ(result_of(DES_Decrypt, part, key_length, example_plain),
              by_openssl(DES_DECRYPT, part, example_plain))
        << length;
  }
}

TEST(DesKey, HasEightBytesAtMostAndNoneAtLeast) {
  for (const int length : {9, 16, 255, 264, INT_MAX})
    EXPECT_EQ(result_of(DES_Encrypt, example_key, length, example_plain), example_cipher) << length;
  for (const int length : {0, -1, -8, INT_MIN}) {
    EXPECT_EQ(result_of(DES_Encrypt, {}, length, example_plain),
              by_openssl(DES_ENCRYPT, {}, example_plain))
        << length;
    Bytes output(8, untouched);
    EXPECT_EQ(DES_Encrypt(nullptr, length, example_plain.data(), 8, output.data()), 8);
    EXPECT_EQ(output, by_openssl(DES_ENCRYPT, {}, example_plain));
  }
}

// Published round keys of the example key.
constexpr const char* round_keys_of_example[] = {
    "000110 110000 001011 101111 111111 000111 000001 110010",
    "011110 011010 111011 011001 110110 111100 100111 100101",
    "010101 011111 110010 001010 010000 101100 111110 011001",
    "011100 101010 110111 010110 110110 110011 010100 011101",
    "011111 001110 110000 000111 111010 110101 001110 101000",
    "011000 111010 010100 111110 010100 000111 101100 101111",
    "111011 001000 010010 110111 111101 100001 100010 111100",
    "111101 111000 101000 111010 110000 010011 101111 111011",
    "111000 001101 101111 101011 111011 011110 011110 000001",
    "101100 011111 001101 000111 101110 100100 011001 001111",
    "001000 010101 111111 010011 110111 101101 001110 000110",
    "011101 010111 000111 110101 100101 000110 011111 101001",
    "100101 111100 010111 010001 111110 101011 101001 000001",
    "010111 110100 001110 110111 111100 101110 011100 111010",
    "101111 111001 000110 001101 001111 010011 111100 001010",
    "110010 110011 110110 001011 000011 100001 011111 110101",
};

struct RoundKeys {
  unsigned char cells[16][48];
  unsigned char packed[16][6];
};

RoundKeys round_keys_of(const Bytes& key) {
  const GuardedBytes guarded(key);
  GuardedBytes cells(Bytes(16 * 48, untouched));
  GuardedBytes packed(Bytes(16 * 6, untouched));
  Gen_Childkey1(guarded.data(), reinterpret_cast<unsigned char(*)[48]>(cells.data()));
  Gen_Childkey2(guarded.data(), reinterpret_cast<unsigned char(*)[6]>(packed.data()));
  RoundKeys keys{};
  std::memcpy(keys.cells, cells.data(), sizeof keys.cells);
  std::memcpy(keys.packed, packed.data(), sizeof keys.packed);
  return keys;
}

TEST(DesRoundKeys, AreThePublishedOnes) {
  const RoundKeys keys = round_keys_of(example_key);
  for (std::size_t i = 0; i < 16; ++i) {
    std::string bits;
    for (std::size_t cell = 0; cell < 48; ++cell) {
      if (cell > 0 && cell % 6 == 0) bits += ' ';
      bits += static_cast<char>('0' + keys.cells[i][cell]);
    }
    EXPECT_EQ(bits, round_keys_of_example[i]) << "round " << i + 1;
  }
  EXPECT_EQ(Bytes(keys.packed[0], keys.packed[0] + 6), hex("1B 02 EF FC 70 72"));
}

TEST(DesRoundKeys, ArePackedMostSignificantBitFirst) {
  std::mt19937 engine(13);
  for (int i = 0; i < 50; ++i) {
    const RoundKeys keys = round_keys_of(random_bytes(engine, 8));
    for (std::size_t round = 0; round < 16; ++round) {
      for (std::size_t cell = 0; cell < 48; ++cell) {
        EXPECT_EQ(keys.cells[round][cell], keys.packed[round][cell / 8] >> (7 - cell % 8) & 1)
            << round << ", " << cell;
      }
    }
  }
}

TEST(DesRoundKeys, NeedTheirPointers) {
  unsigned char cells[16][48];
  unsigned char packed[16][6];
  std::memset(cells, untouched, sizeof cells);
  std::memset(packed, untouched, sizeof packed);
  Gen_Childkey1(nullptr, cells);
  Gen_Childkey2(nullptr, packed);
  Gen_Childkey1(example_key.data(), nullptr);
  Gen_Childkey2(example_key.data(), nullptr);
  for (const auto& row : cells)
    EXPECT_EQ(std::ranges::count(row, untouched), 48);
  for (const auto& row : packed)
    EXPECT_EQ(std::ranges::count(row, untouched), 6);
}

TEST(Cells, HoldTheBitsOfBytesMostSignificantFirst) {
  const GuardedBytes bytes(hex("80 01 A5"));
  GuardedBytes cells(Bytes(24, untouched));
  Char_Bit(bytes.data(), 3, cells.data());
  EXPECT_EQ(cells.content(), hex("01 00 00 00 00 00 00 00"
                                 "00 00 00 00 00 00 00 01"
                                 "01 00 01 00 00 01 00 01"));
  GuardedBytes packed(Bytes(3, untouched));
  Bit_Char(cells.data(), 24, packed.data());
  EXPECT_EQ(packed.content(), hex("80 01 A5"));
}

TEST(Cells, AreUnpackedAndPackedForEachByte) {
  Bytes all = counting(256);
  Bytes cells(2048, untouched);
  Char_Bit(all.data(), 256, cells.data());
  for (std::size_t cell = 0; cell < cells.size(); ++cell)
    EXPECT_EQ(cells[cell], cell / 8 >> (7 - cell % 8) & 1) << cell;
  Bytes packed(256, untouched);
  Bit_Char(cells.data(), 2048, packed.data());
  EXPECT_EQ(packed, all);
}

TEST(Cells, ThatMakeNoWholeByteAreLeftOut) {
  const GuardedBytes cells(Bytes(8, 1));
  Bytes packed(2, untouched);
  for (const int count : {7, 1, 0, -1, -8, INT_MIN}) {
    Bit_Char(cells.data(), count, packed.data());
    EXPECT_EQ(packed, Bytes(2, untouched)) << count;
  }
  for (const int count : {8, 15}) {
    packed.assign(2, untouched);
    Bit_Char(cells.data(), count, packed.data());
    EXPECT_EQ(packed, (Bytes{0xFF, untouched})) << count;
  }
}

TEST(Cells, CountByTheirLowestBit) {
  const Bytes cells = hex("FE FF 30 31 80 81 02 03");
  unsigned char packed = untouched;
  Bit_Char(cells.data(), 8, &packed);
  EXPECT_EQ(packed, 0x55);
}

TEST(Cells, AreUntouchedWithoutBytesOrPointers) {
  Bytes cells(8, untouched);
  for (const int count : {0, -1, INT_MIN})
    Char_Bit(example_key.data(), count, cells.data());
  Char_Bit(nullptr, 1, cells.data());
  Bit_Char(nullptr, 8, cells.data());
  Char_Bit(example_key.data(), 1, nullptr);
  Bit_Char(example_key.data(), 8, nullptr);
  EXPECT_EQ(cells, Bytes(8, untouched));
}

}  // namespace
}  // namespace quorra::testing

// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Made by des_circuits (tools/circuits); changed there, not here.
#pragma once

#include "crypto/circuit.hpp"

// clang-format off
namespace quorra::des::circuits {

using enum Operation;

inline constexpr Circuit<59> box_1{{{
    {negation, 2, 2}, {differ, 3, 0}, {only_first, 7, 5}, {differ, 6, 8}, {only_first, 0, 9},
    {differ, 10, 3}, {both, 10, 7}, {differ, 12, 0}, {both, 13, 5}, {differ, 11, 14},
    {only_first, 15, 4}, {differ, 9, 16}, {either, 11, 5}, {either, 18, 2}, {only_first, 9, 14},
    {differ, 20, 11}, {both, 21, 4}, {differ, 19, 22}, {only_first, 23, 1}, {differ, 17, 24},
    {only_first, 6, 17}, {either, 21, 7}, {only_first, 27, 1}, {differ, 26, 28},
    {only_first, 18, 3}, {differ, 29, 30}, {differ, 25, 15}, {differ, 24, 3}, {differ, 33, 2},
    {only_first, 34, 0}, {differ, 32, 35}, {both, 36, 4}, {differ, 31, 37}, {either, 38, 22},
    {differ, 39, 10}, {differ, 21, 0}, {only_first, 41, 4}, {differ, 11, 42}, {both, 43, 3},
    {differ, 40, 44}, {both, 21, 2}, {differ, 46, 19}, {both, 20, 4}, {differ, 47, 48},
    {both, 49, 1}, {differ, 45, 50}, {differ, 49, 27}, {only_first, 52, 22}, {both, 45, 23},
    {differ, 54, 16}, {both, 55, 0}, {differ, 53, 56}, {only_first, 49, 38}, {differ, 58, 29},
    {only_first, 31, 4}, {both, 60, 5}, {differ, 59, 61}, {only_first, 62, 1}, {differ, 57, 63},
}}, {38, 51, 25, 64}};

inline constexpr Circuit<56> box_2{{{
    {differ, 5, 2}, {negation, 0, 0}, {differ, 6, 7}, {either, 5, 2}, {only_first, 9, 0},
    {differ, 3, 10}, {both, 11, 1}, {differ, 8, 12}, {differ, 9, 0}, {either, 14, 8},
    {either, 7, 5}, {only_first, 16, 3}, {differ, 7, 17}, {only_first, 18, 1}, {differ, 15, 19},
    {both, 20, 4}, {differ, 13, 21}, {differ, 16, 6}, {either, 22, 5}, {only_first, 0, 3},
    {differ, 24, 25}, {only_first, 26, 1}, {differ, 23, 27}, {differ, 15, 13}, {either, 29, 6},
    {both, 23, 1}, {differ, 31, 7}, {only_first, 32, 3}, {differ, 30, 33}, {only_first, 34, 4},
    {differ, 28, 35}, {differ, 5, 1}, {only_first, 37, 2}, {differ, 7, 38}, {either, 34, 16},
    {both, 40, 4}, {differ, 39, 41}, {negation, 1, 1}, {either, 36, 31}, {both, 44, 5},
    {differ, 43, 45}, {both, 46, 3}, {differ, 42, 47}, {differ, 29, 28}, {either, 49, 33},
    {differ, 47, 40}, {either, 51, 32}, {both, 52, 1}, {differ, 50, 53}, {differ, 49, 45},
    {either, 55, 3}, {only_first, 29, 47}, {both, 57, 0}, {differ, 56, 58}, {both, 59, 4},
    {differ, 54, 60},
}}, {22, 48, 61, 36}};

inline constexpr Circuit<56> box_3{{{
    {differ, 5, 2}, {differ, 6, 1}, {differ, 7, 0}, {differ, 3, 2}, {either, 9, 0},
    {only_first, 0, 6}, {both, 11, 1}, {differ, 10, 12}, {only_first, 13, 4}, {differ, 8, 14},
    {only_first, 5, 12}, {only_first, 0, 16}, {only_first, 17, 3}, {differ, 15, 18},
    {differ, 11, 6}, {only_first, 20, 3}, {differ, 8, 21}, {negation, 10, 10}, {only_first, 10, 1},
    {differ, 23, 24}, {only_first, 25, 2}, {differ, 22, 26}, {differ, 21, 3}, {either, 26, 24},
    {only_first, 29, 11}, {only_first, 30, 5}, {differ, 28, 31}, {both, 32, 4}, {differ, 27, 33},
    {differ, 34, 8}, {only_first, 35, 14}, {only_first, 0, 15}, {either, 35, 20},
    {only_first, 38, 3}, {differ, 37, 39}, {both, 40, 1}, {differ, 36, 41}, {either, 22, 1},
    {only_first, 43, 0}, {either, 25, 0}, {differ, 45, 43}, {only_first, 46, 4}, {differ, 44, 47},
    {both, 48, 2}, {differ, 42, 49}, {both, 9, 4}, {differ, 51, 8}, {differ, 38, 20}, {both, 53, 1},
    {differ, 52, 54}, {only_first, 3, 42}, {both, 56, 34}, {only_first, 57, 0}, {differ, 56, 58},
    {both, 59, 5}, {differ, 55, 60},
}}, {34, 61, 50, 19}};

inline constexpr Circuit<41> box_4{{{
    {negation, 3, 3}, {only_first, 2, 1}, {differ, 6, 7}, {either, 3, 1}, {both, 9, 4},
    {differ, 8, 10}, {differ, 11, 1}, {either, 12, 3}, {differ, 4, 3}, {both, 14, 2},
    {differ, 13, 15}, {both, 16, 0}, {differ, 11, 17}, {differ, 3, 0}, {both, 19, 8},
    {negation, 12, 12}, {only_first, 21, 2}, {differ, 20, 22}, {differ, 15, 8},
    {only_first, 24, 19}, {both, 25, 4}, {differ, 23, 26}, {both, 27, 5}, {differ, 18, 28},
    {either, 19, 17}, {both, 11, 4}, {differ, 30, 31}, {differ, 17, 2}, {both, 33, 1},
    {differ, 32, 34}, {either, 34, 12}, {differ, 36, 4}, {differ, 32, 6}, {both, 38, 0},
    {differ, 37, 39}, {both, 40, 5}, {differ, 35, 41}, {differ, 42, 40}, {differ, 43, 5},
    {differ, 29, 27}, {differ, 45, 5},
}}, {42, 44, 46, 29}};

inline constexpr Circuit<59> box_5{{{
    {differ, 5, 2}, {either, 5, 2}, {only_first, 7, 3}, {differ, 0, 8}, {both, 9, 0},
    {differ, 6, 10}, {differ, 11, 9}, {either, 12, 3}, {only_first, 13, 1}, {differ, 11, 14},
    {both, 12, 5}, {differ, 16, 4}, {only_first, 11, 2}, {both, 18, 3}, {differ, 17, 19},
    {both, 20, 4}, {differ, 15, 21}, {only_first, 1, 3}, {differ, 23, 6}, {both, 22, 0},
    {differ, 24, 25}, {either, 22, 19}, {only_first, 27, 5}, {differ, 26, 28}, {both, 27, 3},
    {only_first, 2, 29}, {differ, 31, 12}, {both, 32, 1}, {differ, 30, 33}, {only_first, 34, 4},
    {differ, 29, 35}, {either, 1, 0}, {differ, 37, 26}, {either, 36, 11}, {differ, 39, 23},
    {both, 40, 5}, {differ, 38, 41}, {either, 41, 9}, {differ, 43, 3}, {both, 31, 3},
    {differ, 45, 27}, {both, 46, 1}, {differ, 44, 47}, {both, 48, 4}, {differ, 42, 49},
    {differ, 26, 10}, {only_first, 43, 26}, {differ, 52, 1}, {both, 53, 4}, {differ, 51, 54},
    {negation, 14, 14}, {only_first, 56, 4}, {differ, 0, 57}, {either, 50, 44}, {differ, 59, 4},
    {both, 60, 5}, {differ, 58, 61}, {only_first, 62, 2}, {differ, 55, 63},
}}, {36, 22, 64, 50}};

inline constexpr Circuit<58> box_6{{{
    {either, 4, 0}, {differ, 6, 1}, {differ, 4, 0}, {both, 8, 2}, {differ, 7, 9}, {either, 7, 2},
    {differ, 11, 8}, {only_first, 12, 3}, {differ, 10, 13}, {both, 11, 0}, {differ, 11, 0},
    {both, 7, 1}, {differ, 16, 17}, {both, 18, 3}, {differ, 15, 19}, {both, 20, 5},
    {differ, 14, 21}, {either, 22, 12}, {both, 23, 10}, {both, 24, 2}, {differ, 23, 25},
    {differ, 23, 12}, {differ, 27, 5}, {only_first, 28, 3}, {differ, 26, 29}, {differ, 24, 15},
    {differ, 31, 5}, {negation, 28, 28}, {both, 23, 1}, {differ, 33, 34}, {only_first, 35, 3},
    {differ, 32, 36}, {only_first, 37, 4}, {differ, 30, 38}, {only_first, 7, 25}, {differ, 40, 35},
    {only_first, 31, 35}, {differ, 42, 5}, {both, 43, 0}, {differ, 41, 44}, {either, 37, 0},
    {both, 4, 1}, {both, 47, 5}, {differ, 46, 48}, {only_first, 49, 3}, {differ, 45, 50},
    {differ, 12, 5}, {differ, 52, 3}, {only_first, 51, 29}, {differ, 54, 41}, {only_first, 55, 4},
    {differ, 53, 56}, {both, 55, 31}, {differ, 58, 1}, {both, 59, 5}, {differ, 56, 60},
    {both, 61, 2}, {differ, 57, 62},
}}, {63, 39, 51, 22}};

inline constexpr Circuit<56> box_7{{{
    {both, 3, 1}, {differ, 6, 5}, {differ, 7, 4}, {both, 8, 3}, {differ, 9, 1}, {only_first, 10, 5},
    {differ, 2, 11}, {both, 12, 2}, {differ, 8, 13}, {only_first, 14, 5}, {differ, 15, 12},
    {differ, 5, 3}, {differ, 3, 2}, {both, 18, 4}, {differ, 17, 19}, {only_first, 20, 1},
    {differ, 16, 21}, {both, 22, 0}, {differ, 14, 23}, {either, 18, 1}, {differ, 25, 8},
    {differ, 21, 14}, {both, 27, 3}, {only_first, 28, 4}, {differ, 26, 29}, {negation, 27, 27},
    {only_first, 30, 4}, {differ, 31, 32}, {both, 33, 5}, {differ, 0, 34}, {both, 35, 0},
    {differ, 30, 36}, {either, 7, 2}, {both, 38, 5}, {both, 39, 1}, {differ, 14, 40},
    {differ, 40, 30}, {differ, 42, 2}, {only_first, 19, 1}, {differ, 44, 31}, {only_first, 45, 3},
    {differ, 43, 46}, {only_first, 47, 0}, {differ, 41, 48}, {only_first, 1, 32}, {differ, 50, 28},
    {either, 50, 13}, {differ, 52, 43}, {only_first, 53, 5}, {differ, 51, 54}, {either, 14, 9},
    {either, 46, 7}, {both, 57, 4}, {differ, 56, 58}, {both, 59, 0}, {differ, 55, 60},
}}, {24, 49, 61, 37}};

inline constexpr Circuit<56> box_8{{{
    {differ, 3, 1}, {only_first, 1, 3}, {either, 7, 0}, {only_first, 8, 4}, {differ, 6, 9},
    {either, 1, 0}, {differ, 11, 4}, {only_first, 12, 2}, {differ, 10, 13}, {negation, 0, 0},
    {differ, 9, 3}, {both, 16, 0}, {differ, 15, 17}, {differ, 10, 7}, {only_first, 0, 19},
    {both, 20, 2}, {differ, 18, 21}, {only_first, 22, 5}, {differ, 14, 23}, {differ, 15, 4},
    {only_first, 1, 2}, {differ, 25, 26}, {differ, 26, 14}, {differ, 28, 2}, {only_first, 29, 3},
    {differ, 27, 30}, {both, 29, 16}, {differ, 32, 19}, {both, 27, 19}, {differ, 34, 13},
    {only_first, 35, 0}, {differ, 33, 36}, {only_first, 37, 5}, {differ, 31, 38}, {differ, 39, 37},
    {differ, 40, 5}, {only_first, 13, 5}, {only_first, 42, 3}, {differ, 41, 43}, {either, 20, 10},
    {both, 45, 23}, {both, 46, 0}, {differ, 44, 47}, {differ, 33, 17}, {differ, 49, 12},
    {only_first, 46, 34}, {only_first, 8, 51}, {only_first, 52, 5}, {differ, 50, 53},
    {differ, 41, 19}, {both, 55, 8}, {only_first, 30, 40}, {only_first, 57, 4}, {differ, 56, 58},
    {both, 59, 2}, {differ, 54, 60},
}}, {48, 24, 61, 39}};

}  // namespace quorra::des::circuits
// clang-format on

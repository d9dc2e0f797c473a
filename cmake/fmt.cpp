// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The code of the formatting library, compiled once. Debian has it as a shared library, which the
// driver cannot ask pcscd to have, or in headers, which every file that includes them compiles
// anew.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template FMT_API auto thousands_sep_impl<char>(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref) -> char;

}  // namespace detail
FMT_END_NAMESPACE

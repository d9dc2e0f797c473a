// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <vector>

namespace quorra::toolkit {

using Bytes = std::vector<unsigned char>;

}  // namespace quorra::toolkit

// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Virtual cards made of real ones.
#pragma once

#include "toolkit/memory/backup.hpp"

namespace quorra::cli {

// The image file of a card as the backup knows it. What it does not know is as on a new card.
toolkit::Bytes image_file_of(const toolkit::Backup& backup);

}  // namespace quorra::cli

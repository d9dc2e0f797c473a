// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The interface between pcscd and a driver. Its header is written for C.
#pragma once

extern "C" {
#pragma GCC visibility push(default)
#include <PCSC/ifdhandler.h>
#pragma GCC visibility pop
}

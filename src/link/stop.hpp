// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Ending the waits of the library from outside. Only programs that link the library with sleeping
// waits have it; quorra.so waits to its limits.
#pragma once

namespace quorra {

// Waits that begin from now on end when `descriptor` (an eventfd or a signalfd, for example) is
// readable; -1 for never. A reply that is arriving then has a quarter of a second to complete.
// After that, every wait of the process ends at once, as if its limit was reached: with -132 where
// a byte is waited for, with -129 where the line takes none, and ic_delay returns. What the line
// takes is still sent, so a program can power off the card and close the session. This lasts until
// the next call, also when `descriptor` is no longer readable; a descriptor that is closed while it
// is in use counts as readable.
void stop_waits_when_readable(int descriptor);

}  // namespace quorra

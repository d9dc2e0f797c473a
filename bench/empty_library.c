/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/* The least that can be loaded. */
void quorra_empty(void);

void quorra_empty(void) {}

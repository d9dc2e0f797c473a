// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The subcommands, one file each (fill.cpp and personalise.cpp have two, control.cpp three). An
// add_ function describes its subcommand to the command line and has it carried out if it is the
// one that was asked for. It runs with `settings` as they are after the whole command line was
// read; they outlive `program`.
#pragma once

#include <CLI/App.hpp>

#include "cli/connection.hpp"

namespace quorra::cli {

void add_info(CLI::App& program, const Settings& settings);
void add_detect(CLI::App& program, const Settings& settings);
void add_kinds(CLI::App& program, const Settings& settings);
void add_read(CLI::App& program, const Settings& settings);
void add_write(CLI::App& program, const Settings& settings);
void add_erase(CLI::App& program, const Settings& settings);
void add_fill(CLI::App& program, const Settings& settings);
void add_verify(CLI::App& program, const Settings& settings);
void add_backup(CLI::App& program, const Settings& settings);
void add_restore(CLI::App& program, const Settings& settings);
void add_diff(CLI::App& program, const Settings& settings);
void add_batch(CLI::App& program, const Settings& settings);
void add_code(CLI::App& program, const Settings& settings);
void add_protect(CLI::App& program, const Settings& settings);
void add_map(CLI::App& program, const Settings& settings);
void add_personalise(CLI::App& program, const Settings& settings);
void add_fuse(CLI::App& program, const Settings& settings);
void add_units(CLI::App& program, const Settings& settings);
void add_apdu(CLI::App& program, const Settings& settings);
void add_atr(CLI::App& program, const Settings& settings);
void add_memory(CLI::App& program, const Settings& settings);
void add_run(CLI::App& program, const Settings& settings);
void add_shell(CLI::App& program, const Settings& settings);
void add_security(CLI::App& program, const Settings& settings);
void add_doctor(CLI::App& program, const Settings& settings);
void add_help(CLI::App& program, const Settings& settings);
void add_setup(CLI::App& program, const Settings& settings);
void add_value(CLI::App& program, const Settings& settings);
void add_speed(CLI::App& program, const Settings& settings);
void add_beep(CLI::App& program, const Settings& settings);
void add_power(CLI::App& program, const Settings& settings);
void add_eject(CLI::App& program, const Settings& settings);
void add_des(CLI::App& program, const Settings& settings);
void add_tap(CLI::App& program, const Settings& settings);
void add_trace(CLI::App& program, const Settings& settings);

}  // namespace quorra::cli

# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# Makes a source file that holds the page: cmake -D PAGE=FILE -D SOURCE=FILE -P embed_page.cmake
file(READ "${PAGE}" content)
file(WRITE "${SOURCE}" "#include \"simulator/web/page.hpp\"

namespace quorra::simulator {

const std::string_view page = R\"page(${content})page\";

}  // namespace quorra::simulator
")

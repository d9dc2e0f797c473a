# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
# Completion for fish: the program itself tells what may be typed.
function __quorra_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    for line in (command $words[1] complete $words[2..-1] "$word" 2>/dev/null)
        if test "$line" = ":files"
            __fish_complete_path "$word"
        else
            echo -- $line
        end
    end
end
complete -c quorra -f -a '(__quorra_complete)'

# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
# shellcheck shell=bash
# Completion for bash: the program itself tells what may be typed.
_quorra() {
  local line word
  local -a words=()
  COMPREPLY=()
  # bash takes a '=' for a word of its own; an option and its value may be two words.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word == "=" ]] || words+=("$word")
  done
  word=${COMP_WORDS[COMP_CWORD]}
  [[ $word != "=" ]] || word=""
  while IFS= read -r line; do
    if [[ $line == ":files" ]]; then
      compopt -o filenames 2>/dev/null
      while IFS= read -r line; do
        COMPREPLY+=("$line")
      done < <(compgen -f -- "$word")
    else
      COMPREPLY+=("${line%%$'\t'*}")
    fi
  done < <("$1" complete "${words[@]}" "$word" 2>/dev/null)
}
complete -F _quorra quorra

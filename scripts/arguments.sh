# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
# What every script does with its arguments, before anything else. For `.`, in the root of the tree.

script=scripts/${0##*/}

# The comment at the script's head.
print_usage() { sed -n '4,$ { /^#/!q; s/^# \{0,1\}//p; }' "$script"; }

# bad_usage TEXT
bad_usage() {
  echo "$script: $1; see $script --help" >&2
  exit 2
}

# unexpected ARGUMENT
unexpected() { bad_usage "unexpected: $(printf '%q' "$1")"; }

# help_if_asked ARGUMENT...
help_if_asked() {
  local argument
  for argument in "$@"; do
    if [[ $argument == --help ]]; then
      print_usage
      exit
    fi
  done
}

# none_or_one_of "WORD ..." ARGUMENT...: there is no argument, or one of these words.
none_or_one_of() {
  local word words=$1
  shift
  help_if_asked "$@"
  (($# > 0)) || return 0
  for word in $words; do
    if [[ $1 == "$word" ]]; then
      (($# == 1)) || unexpected "$2"
      return 0
    fi
  done
  unexpected "$1"
}

# none ARGUMENT...: there is none.
none() { none_or_one_of "" "$@"; }

# none_or_one ARGUMENT...: there is none, or one that is no option.
none_or_one() {
  help_if_asked "$@"
  (($# > 0)) || return 0
  [[ -n $1 && $1 != -* ]] || unexpected "$1"
  (($# == 1)) || unexpected "$2"
}

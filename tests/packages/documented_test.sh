#!/usr/bin/env bash
# documented_test.sh PROGRAM MAN-PAGE COMPLETION…: every command and long option that --help tells
# of, the commands' own included, stands in the manual page and in each completion.
set -u
export LC_ALL=C.UTF-8 LANGUAGE=en
program=$1 page=$2 failed=0
shift 2

help() { "$program" "$@" --help 2>&1; }
options() { grep -Eo -- '(^ +|,)--[a-z-]+' | grep -Eo -- '--[a-z-]+' | sort -u; }
commands=$(help | sed -n '/^Subcommands:/,$p' | sed -nE 's/^  ([a-z]+) .*/\1/p')
words=$({
  help | options
  for command in $commands; do help "$command" | options; done
} | sort -u)
[ -n "$commands" ] && [ "$(wc -w <<<"$words")" -gt 4 ] || {
  echo "the help of $program could not be read" >&2
  exit 1
}

missing() { # WHERE WHAT
  echo "$1 does not tell of $2" >&2
  failed=1
}
manual=$(mandoc -T ascii "$page" | sed 's/.\x08//g') || exit 1
for word in $words $commands; do
  grep -qE -- "(^|[^a-z-])$word([^a-z-]|\$)" <<<"$manual" || missing "$page" "$word"
  for completion in "$@"; do
    spelt=$word
    [[ $completion == *.fish && $word == --* ]] && spelt="-l ${word#--}"
    grep -qE -- "(^|[^a-z-])$spelt([^a-z-]|\$)" "$completion" || missing "$completion" "$word"
  done
done
exit $failed

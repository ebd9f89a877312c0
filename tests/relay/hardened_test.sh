#!/usr/bin/env bash
# hardened_test.sh READELF PROGRAM: what the release build asks of compiler and linker is in the
# program that comes out.
set -u
export LC_ALL=C
readelf=$1 program=$2 failed=0

expect() { # WHAT OPTION PATTERN
  if ! "$readelf" -W "$2" "$program" | grep -Eq -- "$3"; then
    echo "missing in $program: $1" >&2
    failed=1
  fi
}

expect "position independent executable" -h 'Type: +DYN'
expect "read-only relocations" -l GNU_RELRO
expect "binding at the start" -d 'BIND_NOW|Flags:.* NOW'
expect "guarded stacks" --dyn-syms ' __stack_chk_fail'
expect "checked buffers" --dyn-syms ' __(mem|str|read|recv|f?printf|vs?n?printf|s?n?printf).*_chk'
exit $failed

#!/usr/bin/env bash
# Fails when docs/security.md names a test or an attack that is not there.
# usage: tests/promises_test.sh ROOT
set -euo pipefail
cd "$1"
broken=0
missing() {
  echo "docs/security.md names $1, which is not there"
  broken=1
}

while IFS=. read -r suite name; do
  grep -qrE "^TEST(_F|_P)?\($suite, $name\)" tests || missing "$suite.$name"
done < <(grep -oE '`[A-Z][A-Za-z]+\.[A-Za-z0-9]+`' docs/security.md | tr -d '`' | sort -u)
while read -r attack; do
  grep -qF "{\"$attack\", " tests/relay/siege_*.cpp || missing "the attack \"$attack\""
done < <(tr '\n' ' ' <docs/security.md | grep -oE '\*siege: [^*]+\*' | sed 's/\*siege: //; s/\*//' | sort -u)
exit $broken

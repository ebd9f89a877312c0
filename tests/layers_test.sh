#!/usr/bin/env bash
# Fails when a folder includes from a folder that it must not lean on.
# usage: tests/layers_test.sh ROOT
set -euo pipefail
cd "$1"
broken=0

# allow FOLDER ALLOWED…: what a folder may include, besides itself.
allow() {
  local folder=$1 pattern hits
  shift
  [ -d "$folder" ] || { echo "no folder $folder: this check no longer fits the tree"; broken=1; return; }
  pattern=$(printf '%s|' "$folder" "$@")
  # Every quoted include of this project names its folder.
  hits=$(grep -rnE '^[[:space:]]*#include "' "$folder" --include='*.h' --include='*.cpp' |
    grep -vE "#include \"(${pattern%|})/" || true)
  [ -z "$hits" ] || { echo "$folder may include only from: $folder $*"; echo "$hits"; broken=1; }
}

allow base
allow account base
allow hub account base
allow crypto hub account base
allow clipboard base
allow core crypto hub clipboard account base
allow hosting hub account base
allow ui hosting core crypto hub clipboard account base
allow app ui hosting core crypto hub clipboard account base
allow relay
exit $broken

#!/usr/bin/env bash
# Builds the module once more, from a copy of the sources in another folder: the bytes are the same.
# Usage: reproducible.sh MODULE [CMAKE-OPTION]
set -eu
module=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$(dirname "$0")/.."
mkdir "$folder/elsewhere"
tar -c --exclude=./build --exclude=./.git . | tar -x -C "$folder/elsewhere"
cmake --preset release -S "$folder/elsewhere" -B "$folder/build" -DBUILD_TESTING=OFF "$@" >/dev/null
cmake --build "$folder/build" --target gsmmodem >/dev/null
cmp "$module" "$folder/build/bin/$(basename "$module")"

#!/usr/bin/env bash
# The same sources in another folder give the same bytes. Symbols are left out: their format holds the time of the
# build.
# usage: reproducible_test.sh SOURCES BUILD
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/check.sh"
sources=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
copy=$work/another/folder
mkdir -p "$copy"
tar -C "$sources" --exclude=./build --exclude=./.git -cf - . | tar -C "$copy" -xf -
if ! (cd "$copy" && cmake --preset release && cmake --build --preset release --target packages) >"$work/log" 2>&1; then
  tail -n 20 "$work/log"
  fail 'the second build'
fi
for file in bin/qvrnwmiprovider.dll bin/qvrnctl.exe "packages/$(basename "$build"/packages/*-x64.zip)" \
  "packages/$(basename "$build"/packages/*-x64.msi)"; do
  cmp "$build/$file" "$copy/build/release/$file" || fail "$file differs"
done
echo PASSED

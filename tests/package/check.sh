# shellcheck shell=bash
# What the tests of the package share.

# Nothing ends a test without a word.
set -E
trap 'printf "FAILED: line %s: %s\n" "$LINENO" "$BASH_COMMAND" >&2' ERR

fail() {
  printf 'FAILED: %s\n' "$*" >&2
  exit 1
}

# same WHAT EXPECTED ACTUAL: fails, and shows how they differ, unless both texts are equal.
same() { diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || fail "$1: '<' was expected and '>' seen"; }

#!/usr/bin/env bash
# Replays the examples of the documents in a lab of its own and compares what they print; looks at the documents' links,
# and whether the generated one is current. usage: documents_test.sh SOURCES BUILD TEMPLATE
#
# An example is a line "    $ COMMAND" and the indented lines below it. A document starts on the machine `server`; a line
# "<!-- machine: NAME -->" loads another one, and "without classes" is one whose class definitions are gone.
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/package/check.sh"
sources=$1 build=$2 template=$3

# Beside the template, whose files are linked.
work=$(mktemp -d -p "$build" documents.XXXXXX)
trap 'wineserver -k 2>/dev/null || true; rm -rf "$work"' EXIT
export WINEPREFIX=$work/prefix PATH=$work/bin:$PATH
drive=$WINEPREFIX/drive_c

make_lab() {
  cp -al "$template" "$WINEPREFIX"
  # Files that are written here must not be the template's.
  cp --remove-destination "$template"/*.reg "$WINEPREFIX/"
  mkdir "$drive/qvrn" "$work/here" "$work/bin"
  ln -s "$build"/bin/* "$drive/qvrn/"
  wineserver -p >/dev/null 2>&1
  wine cmd /c exit >/dev/null 2>&1
  wine regsvr32 /s 'C:\qvrn\qvrnlab.dll'
}

# What stands for ./dev and for an installed client.
make_commands() {
  cat >"$work/here/dev" <<'DEV'
#!/usr/bin/env bash
shift # lab
drive=$WINEPREFIX/drive_c
case $1 in
  reset)
    rm -f "$drive/qvrn-journal.txt"
    wine regsvr32 /s 'C:\qvrn\qvrnwmiprovider.dll'
    wine regedit /S "C:\\qvrn\\machines\\${2:-server}.reg"
    ;;
  journal) cat "$drive/qvrn-journal.txt" ;;
  *)
    program=$1
    [ -f "$drive/qvrn/$1.exe" ] && program="C:\\qvrn\\$1.exe"
    wine "$program" "${@:2}"
    ;;
esac
DEV
  printf '#!/bin/sh\nexec ./dev lab qvrnctl "$@"\n' >"$work/bin/qvrnctl"
  chmod +x "$work/here/dev" "$work/bin/qvrnctl"
}

load_machine() {
  ln -sf "$build/bin/qvrnwmiprovider.mof" "$drive/qvrn/"
  (cd "$work/here" && ./dev lab reset "${1/without classes/server}")
  [ "$1" != 'without classes' ] || ln -sf /dev/null "$drive/qvrn/qvrnwmiprovider.mof"
}

# As a document shows an output: UTF-8, no blanks at the ends of lines, and any GUID the same.
normalise() {
  LC_ALL=C sed -E $'s/^\xff\xfe//; s/[\\x00\r]//g; s/\t/ /g; s/ +$//' |
    sed -E 's/\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}/{GUID}/g'
}

# run_example DOCUMENT COMMAND EXPECTED
run_example() {
  case $2 in './dev lab '* | 'qvrnctl '*) ;; *) fail "$1: '$2' is no command that can be replayed" ;; esac
  local seen
  seen=$(cd "$work/here" && bash -c "$2" 2>&1 </dev/null | normalise || true)
  (same "$1: $2" "$(normalise <<<"$3")" "$seen") || faults=$((faults + 1))
  examples=$((examples + 1))
}

replay() {
  local line command='' expected=''
  load_machine server
  while IFS= read -r line; do
    if [ -n "$command" ] && [[ $line != '    '[!$]* && -n $line ]]; then
      run_example "$1" "$command" "$expected"
      command='' expected=''
    fi
    case $line in
      '    $ '*) command=${line:6} ;;
      '<!-- machine: '*) line=${line#*: } && load_machine "${line% -->}" ;;
      *) [ -z "$command" ] || expected+=${line:4}$'\n' ;;
    esac
  done < <(cat "$sources/$1" && echo end)
}

missing() {
  printf 'FAILED: %s: there is no %s\n' "$@" >&2
  faults=$((faults + 1))
}

# What a document links to, and the files of this project that it names, are there.
check_names() {
  local name folder
  folder=$sources/$(dirname "$1")
  while IFS= read -r name; do
    [ -e "$folder/$name" ] || missing "$1" "$name"
  done < <(grep -oP '\]\(\K[^)#:]+(?=[)#])' "$sources/$1")
  while IFS= read -r name; do
    compgen -G "$sources/${name%/}" >/dev/null || missing "$1" "$name"
  done < <(grep -oP '`\K(bench|cmake|docs|examples|lab|mux|package|platform|tests|tools)/[^` ]*' "$sources/$1")
}

make_lab
make_commands
examples=0 faults=0
wine 'C:\qvrn\qvrnmofdoc.exe' 'C:\qvrn\qvrnwmiprovider.mof' | diff "$sources/docs/classes.md" - >&2 ||
  fail 'docs/classes.md is not current; mend this with: ./dev docs'
cd "$sources"
for document in README.md CONTRIBUTING.md CHANGELOG.md package/INSTALL.md docs/*.md; do
  check_names "$document"
  if grep -q '^    \$ ' "$document"; then replay "$document"; fi
done
[ "$faults" -eq 0 ] || fail "$faults faults"
[ "$examples" -ge 30 ] || fail "only $examples examples were found"
echo "PASSED: $examples examples"

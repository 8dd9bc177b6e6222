#!/usr/bin/env bash
# Replays the examples of the documents in a lab of its own and compares what they print; looks at the documents' links,
# at whether the generated one is current, and at whether the guide mentions all that classes and client have.
# usage: documents_test.sh SOURCES BUILD TEMPLATE; with QVRN_REWRITE set it writes what it sees into the documents.
#
# An example is a command behind a prompt, and the indented lines below it. "    $ " is a shell in this repository,
# "    C:\> " and "    PS C:\> " are a Windows machine with the product, for which the lab stands. A document starts on
# the machine `server`; a line "<!-- machine: NAME -->" loads another one, "without classes" is one whose class
# definitions are gone, and "<!-- lab: COMMAND -->" prepares it unseen.
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
  mkdir -p "$drive/qvrn" "$drive/Program Files/Quorvane" "$work/here" "$work/bin"
  ln -s "$build"/bin/* "$drive/qvrn/"
  ln -s ../../qvrn "$drive/Program Files/Quorvane/WMI"
  wineserver -p >/dev/null 2>&1
  wine cmd /c exit >/dev/null 2>&1
  wine regsvr32 /s 'C:\qvrn\qvrnlab.dll'
}

# What stands for ./dev, and for the programs of a Windows machine.
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
    timeout 100 wine "$program" "${@:2}"
    ;;
esac
DEV
  chmod +x "$work/here/dev"
  local program
  for program in qvrnctl cscript reg wmic; do
    printf '#!/bin/sh\nexec "%s" lab %s "$@"\n' "$work/here/dev" "$program" >"$work/bin/$program"
    chmod +x "$work/bin/$program"
  done
}

load_machine() {
  ln -sf "$build/bin/qvrnwmiprovider.mof" "$drive/qvrn/"
  (cd "$work/here" && ./dev lab reset "${1/without classes/server}")
  [ "$1" != 'without classes' ] || ln -sf /dev/null "$drive/qvrn/qvrnwmiprovider.mof"
}

# As a document shows an output: UTF-8, no blanks at the ends of lines, nothing of what the system's loader has to say of
# how Wine ends a process; and with any GUID the same.
clean() { LC_ALL=C sed -E $'s/^\xff\xfe//; s/[\\x00\r]//g; s/\t/ /g; s/ +$//; /^Inconsistency detected by ld\.so/d'; }
without_guids() { sed -E 's/\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}/{GUID}/g'; }

fault() {
  printf 'FAILED: %s\n' "$*" >&2
  faults=$((faults + 1))
}

# evaluate FOLDER COMMAND: what the command prints, to both its streams.
evaluate() { (cd "$1" && eval "$2" 2>&1 </dev/null) >"$work/output" || status=$?; }

# perform PROMPT COMMAND: runs the command of an example as the shell of its prompt would, as far as examples need it.
perform() {
  if [ "$1" = '$' ]; then
    case $2 in './dev lab '*) evaluate "$work/here" "$2" ;; *) return 1 ;; esac
  else
    case ${2%% *} in
      echo) echo "$status" >"$work/output" ;;
      qvrnctl | cscript | reg | wmic)
        status=0
        set -f
        evaluate "$drive" "${2//\\/\\\\}"
        set +f
        ;;
      *) return 1 ;;
    esac
  fi
}

# finish_example DOCUMENT: runs the example that has been read, and passes it on as it should be.
finish_example() {
  [ -n "$command" ] || return 0
  local expected seen gap=''
  examples=$((examples + 1))
  if perform "$prompt" "$command"; then
    expected=$(sed 's/^    //' <<<"$below" | clean) seen=$(clean <"$work/output")
    if [ "$(without_guids <<<"$expected")" != "$(without_guids <<<"$seen")" ]; then
      (same "$1: $command" "$expected" "$seen") || [ -n "${QVRN_REWRITE:-}" ] || faults=$((faults + 1))
      [[ $below == *$'\n\n' || $below == $'\n' ]] && gap=$'\n'
      below=$(sed 's/^/    /; s/ *$//' <<<"$seen")$'\n'$gap
    fi
  else
    fault "$1: '$command' is no command that can be replayed"
  fi
  printf '%s' "$below" >>"$work/document"
  command=''
}

replay() {
  local line prompt='' command='' below='' status=0
  load_machine server
  : >"$work/document"
  while IFS= read -r line; do
    if [[ $line =~ ^'    '(PS C:\\>|C:\\>|\$)' '(.*) ]]; then
      finish_example "$1"
      prompt=${BASH_REMATCH[1]} command=${BASH_REMATCH[2]} below=''
    elif [ -n "$command" ] && [[ $line == '    '* || -z $line ]]; then
      below+=$line$'\n'
      continue
    else
      finish_example "$1"
    fi
    printf '%s\n' "$line" >>"$work/document"
    case $line in
      '<!-- machine: '*) line=${line#*: } && load_machine "${line% -->}" ;;
      '<!-- lab: '*) line=${line#*: } && evaluate "$work/here" "./dev lab ${line% -->}" ;;
    esac
  done <"$sources/$1"
  finish_example "$1"
  [ -z "${QVRN_REWRITE:-}" ] || cp "$work/document" "$sources/$1"
}

# What a document links to, and the files of this project that it names, are there.
check_names() {
  local name folder
  folder=$sources/$(dirname "$1")
  while IFS='#' read -r name anchor; do
    [ -e "$folder/$name" ] || fault "$1: there is no $name"
    [ -z "$anchor" ] || anchors "$folder/${name:-$(basename "$1")}" | grep -qx "$anchor" ||
      fault "$1: $name has no heading '$anchor'"
  done < <(sed '/^    /d' "$sources/$1" | grep -oP '\]\(\K[^):]+(?=\))' || true)
  while IFS= read -r name; do
    compgen -G "$sources/${name%/}" >/dev/null || fault "$1: there is no $name"
  done < <(grep -oP '`\K(bench|cmake|docs|examples|lab|mux|package|platform|tests|tools)/[^` ]*' "$sources/$1" || true)
}

# The anchors of a document's headings.
anchors() { sed -nE 's/^#+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'; }

client() { wine 'C:\qvrn\qvrnctl.exe' "$@" >"$work/help" && clean <"$work/help"; }

# mentioned WORD...: each is in the page of the client, between backquotes or behind an option's dashes.
mentioned_by_client() {
  local word
  for word; do
    grep -qP -- "\`[^\`]*(?<![\\w-])$word(?![\\w-])" "$sources/docs/guide/qvrnctl.md" ||
      fault "docs/guide/qvrnctl.md does not mention $word"
  done
}

# Whatever classes and client have, people can read of: in what somebody has written, too, not only in the page that is
# made from the classes or in what an example prints. And every keyword of a driver has a test that it is its property's.
check_completeness() {
  local name command
  find "$sources/docs/guide" -name '*.md' ! -name classes.md -exec sed '/^    /d' {} + >"$work/written"
  for name in $(grep -oP '^(class|  \w+( ref)?) \K\w+(?=;?$)|^  sint32 \K\w+(?=\()' \
    "$sources/tools/wmi/qvrnwmiprovider/qvrnwmiprovider.mof"); do
    grep -qP "\`[^\`]*(?<!\w)$name(?!\w)[^\`]*\`" "$work/written" || fault "no page of the guide says what $name is"
  done
  for name in $(grep -oP 'MappingStrings\{"[^"]*\|\K[^"]+' "$sources/tools/wmi/qvrnwmiprovider/qvrnwmiprovider.mof"); do
    grep -qF -- "$name" "$sources/tests/scenarios/configuration/keywords.txt" ||
      fault "tests/scenarios/configuration/keywords.txt lacks $name"
  done
  client --help >"$work/commands"
  mapfile -t commands < <(sed -n '/^commands:/,/^$/p' "$work/commands" | grep -oP '^  \K[a-z]+( [a-z]+)?(?= |$)')
  [ "${#commands[@]}" -ge 10 ] || fail 'the commands of the client were not found in its help'
  for command in "${commands[@]}"; do
    mentioned_by_client "$command"
    # shellcheck disable=SC2086 # a command may be two words
    client $command --help >>"$work/commands"
  done
  # shellcheck disable=SC2046
  mentioned_by_client $(grep -oP '(^|[ \[])\K--[a-z][a-z-]+' "$work/commands" | sort -u)
  for name in $(grep -oP '(^exit status:|,) \K[0-9]+(?= [a-z])' "$work/commands" | sort -u); do
    grep -q "^| $name |" "$sources/docs/guide/qvrnctl.md" || fault "docs/guide/qvrnctl.md lacks the exit status $name"
  done
}

make_lab
make_commands
examples=0 faults=0
wine 'C:\qvrn\qvrnmofdoc.exe' 'C:\qvrn\qvrnwmiprovider.mof' >"$work/classes.md"
diff "$sources/docs/guide/classes.md" "$work/classes.md" >&2 ||
  fail 'docs/guide/classes.md is not current; mend this with: ./dev docs'
check_completeness
cd "$sources"
for document in *.md docs/*/*.md; do
  check_names "$document"
  if grep -qE '^    (\$|(PS )?C:\\>) ' "$document"; then replay "$document"; fi
done
[ "$faults" -eq 0 ] || fail "$faults faults"
[ "$examples" -ge 30 ] || fail "only $examples examples were found"
echo "PASSED: $examples examples"

#!/usr/bin/env bash
# Commands of one lab side by side: none ends another, a reset waits its turn, and a client whose Wine server is killed
# says so. usage: sharedlab_test.sh SOURCES
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/package/check.sh"
cd "$1"
export QVRN_LAB=build/sharedlab
export WINEPREFIX=$PWD/$QVRN_LAB
journal=$QVRN_LAB/drive_c/qvrn-journal.txt
trap 'wineserver -k 2>/dev/null || true; rm -rf "$QVRN_LAB" "$QVRN_LAB".*' EXIT

# until_true COMMAND...: at most a minute.
until_true() {
  local end=$((SECONDS + 60))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || fail "in vain: $*"
    sleep 0.1
  done
}

# A command that runs until it is told to go on, one that ends meanwhile, and a reset.
./dev lab reset server
mkfifo "$QVRN_LAB.go"
./dev lab cmd /c 'echo begun& set /p go=& C:\qvrn\qvrnctl.exe vlan add 7 --id 10 --name Office' \
  <"$QVRN_LAB.go" >"$QVRN_LAB.first" 2>&1 &
first=$!
exec 3>"$QVRN_LAB.go"
until_true grep -q begun "$QVRN_LAB.first"
same 'the second command' 2 "$(./dev lab qvrnctl adapters | grep -c Quorvane)"
! ./dev lab reset server 2>"$QVRN_LAB.reset" || fail 'a lab in use was reset'
grep -q 'Nothing was reset' "$QVRN_LAB.reset" || fail 'a reset that is refused does not say so'
echo >&3
wait "$first" || fail "the first command ended with $?"
grep -q '^created 7/10' "$QVRN_LAB.first" || fail 'the first command was cut off'

# The server dies in the middle of a request, which waits for a write lock.
./dev lab reg add 'HKLM\SOFTWARE\QvrnLab' /v ForeignLock /d 'another program' /f >"$QVRN_LAB.reg"
rm "$journal"
./dev lab qvrnctl vlan add 7 --id 20 --name Voice >"$QVRN_LAB.cut" 2>&1 &
client=$! status=0
until_true test -s "$journal"
wineserver -k
wait "$client" || status=$?
same 'the status of a client whose server was killed' 1 "$status"
grep -q 'qvrnctl.* ran: the program was cut off' "$QVRN_LAB.cut" || fail "the client says only: $(cat "$QVRN_LAB.cut")"
echo PASSED

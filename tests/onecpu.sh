#!/usr/bin/env bash
# Runs a test on one processor, with the Wine server and whatever else it starts: as no other processor has to be woken for
# each call of the server, it takes half the time. Tests that run side by side get different processors.
# usage: onecpu.sh FOLDER COMMAND...; the folder is where the locks of the processors are
set -euo pipefail
folder=$1
shift
allowed=$(taskset -pc $$)
for range in $(tr , ' ' <<<"${allowed##*: }"); do
  for processor in $(seq "${range%-*}" "${range#*-}"); do
    exec 7>"$folder/processor-$processor.lock"
    flock -n 7 || continue
    status=0
    # The lock is this script's: what the command leaves running does not keep it.
    taskset -c "$processor" "$@" 7>&- || status=$?
    exit "$status"
  done
done
exec "$@" 7>&-

#!/usr/bin/env bash
# Stands in for the desktop shell: explorer.exe PROGRAM starts PROGRAM detached, in the program's own folder.
# Notes each call in explorer.log beside itself: time, process id ("-" where nothing was started), arguments, with tabs
# between them.
set -euo pipefail

process=-
if [[ $# -eq 1 && -f $1 && -x $1 ]]; then
    (cd "$(dirname "$1")" && exec setsid "$1") </dev/null >/dev/null 2>&1 &
    process=$!
fi
arguments=$(printf '\t%s' "$@")
printf '%s\t%s%s\n' "$(date --iso-8601=seconds)" "$process" "$arguments" >>"$(dirname "$0")/explorer.log"
[[ $process != - ]]

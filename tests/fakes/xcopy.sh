#!/usr/bin/env bash
# Stands in for Windows' xcopy.exe where the updater's copy batch runs under a Unix shell:
#   xcopy.exe /E /Y /G /K SOURCE DESTINATION
# copies what is in the folder SOURCE, sub-folders and empty folders too, over what is in the folder DESTINATION.
# Exit codes as documented for xcopy: 0 copied, 1 no files found to copy, 4 wrong parameters or folders, 5 write error.
# XCOPY_PAUSE: seconds to wait before copying; a small test package is copied sooner than anybody can look.
# XCOPY_EXIT_CODE: what to end with, without copying.
set -uo pipefail

refuse() {
    printf '%s\n' "$*" >&2
    exit 4
}

folders=()
switches=
for argument in "$@"; do
    case $argument in
        /[EYGK]) switches+=${argument#/} ;;
        /? | /?:* | /-?) refuse "Invalid parameter - $argument" ;;
        *) folders+=("$argument") ;;
    esac
done
[[ ${#folders[@]} -eq 2 ]] || refuse "Invalid number of parameters"
for switch in E Y G K; do
    # Each changes what xcopy does; this program does what all four ask for, and nothing else.
    [[ $switches == *$switch* ]] || refuse "This stand-in cannot do without /$switch"
done
source=${folders[0]}
destination=${folders[1]}
[[ -d $source ]] || refuse "File not found - $source"
[[ -d $destination ]] || refuse "Not a folder - $destination"

sleep "${XCOPY_PAUSE:-0}"
[[ -z ${XCOPY_EXIT_CODE:-} ]] || exit "$XCOPY_EXIT_CODE"
files=$(find -L "$source" -type f -printf x | wc -c)
(cd "$source" && find -L . -type f -printf '%P\n')
cp -RL --preserve=mode,timestamps --no-target-directory -- "$source" "$destination" || exit 5
echo "$files File(s) copied"
[[ $files -gt 0 ]]

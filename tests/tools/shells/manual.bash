#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# The manual pages of a program: of each command one, with all that its --help says, and nothing that man warns of.
#
#   manual.bash PROGRAM FOLDER [LEAST_COMMANDS]
set -euo pipefail
command=$1
folder=$2

failed=0
Fail() {
    echo "manual: $*" >&2
    failed=1
}
# As it is read, without breaks of lines.
Read() { MANWIDTH=10000 man --no-hyphenation --no-justification -l "$1" 2>/dev/null | col -b | tr -s ' \n' ' '; }

names=$("$command" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$names")" -ge "${3:-0}" ] || Fail "--help lists too few commands: $names"
for name in "" $names; do
    page=$folder/$(basename "$command")${name:+-$name}.1
    if [ ! -f "$page" ]; then
        Fail "$page is missing"
        continue
    fi
    # The options of batch are those of the Python package.
    if command -v man >/dev/null && [ "$name" != batch ]; then
        warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
        [ -z "$warnings" ] || Fail "$page: $warnings"
        text=$(Read "$page")
        while read -r option; do
            [[ $text == *"$option"* ]] || Fail "$page does not tell of $option"
        done < <("$command" ${name:+"$name"} --help | grep -oE -- '--[a-z][a-z-]+( [A-Z][A-Z=:]*[A-Z])?')
    fi
done
exit "$failed"

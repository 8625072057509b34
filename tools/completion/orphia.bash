# SPDX-License-Identifier: GPL-3.0-or-later
# shellcheck shell=bash
# Completion of orphia in bash. What fits a place is told by the command itself: orphia complete WORD...

# Splits the line up to the cursor as the shell would: orphia_words, without quotes. orphia_kept is the part of the last
# word that readline does not replace, which ends at its last border or opening quote; orphia_quote the open quote.
_orphia_split() {
    local line=${COMP_LINE:0:COMP_POINT} c i inWord=false
    orphia_words=() orphia_kept="" orphia_quote=""
    local word=""
    for ((i = 0; i < ${#line}; i++)); do
        c=${line:i:1}
        if [ -n "$orphia_quote" ]; then
            if [ "$c" = "$orphia_quote" ]; then
                orphia_quote=""
            else
                if [[ $orphia_quote == '"' && $c == "\\" && ${line:i+1:1} == [\"\\\$\`] ]]; then
                    ((++i))
                    c=${line:i:1}
                fi
                word+=$c
            fi
            continue
        fi
        case "$c" in
        [[:space:]])
            if $inWord; then
                orphia_words+=("$word")
            fi
            inWord=false word="" orphia_kept=""
            continue
            ;;
        \" | \')
            orphia_quote=$c
            orphia_kept=$word
            ;;
        \\)
            ((++i))
            word+=${line:i:1}
            ;;
        *)
            word+=$c
            if [[ $c == [=:] && $COMP_WORDBREAKS == *"$c"* ]]; then
                orphia_kept=$word
            fi
            ;;
        esac
        inWord=true
    done
    orphia_words+=("$word")
}

_orphia() {
    local orphia_words orphia_kept orphia_quote candidate files=false
    _orphia_split
    COMPREPLY=()
    while IFS= read -r candidate; do
        if [ "$candidate" = / ]; then
            files=true
            continue
        fi
        candidate=${candidate%%$'\t'*}
        if [[ $candidate == *= ]]; then
            compopt -o nospace 2>/dev/null
        fi
        candidate=${candidate#"$orphia_kept"}
        if [ -z "$orphia_quote" ]; then
            printf -v candidate %q "$candidate"
        fi
        COMPREPLY+=("$candidate")
    done < <("${1/#\~/$HOME}" complete "${orphia_words[@]:1}" 2>/dev/null)
    # Readline's own completion of files steps in where nothing else fits.
    if ! $files; then
        compopt +o default +o bashdefault 2>/dev/null
    fi
}

complete -o bashdefault -o default -F _orphia orphia

#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What the Tab key offers in bash, for lines as they are typed.
#
#   completion.bash ORPHIA
# shellcheck disable=SC2016 # names that have a dollar sign
set -euo pipefail
command=$1
# shellcheck source=tools/completion/orphia.bash
source "$(dirname "$0")/../../../tools/completion/orphia.bash"

export XDG_DATA_HOME
XDG_DATA_HOME=$(mktemp -d)
trap 'rm -rf "$XDG_DATA_HOME"' EXIT
presets="$XDG_DATA_HOME/Velmora/Orphia VX/Presets"
mkdir -p "$presets"
for name in 'my own' 'my $2 one'; do
    echo '{"format": "orphia-preset", "version": 1, "name": "Mine", "description": "", "parameters": {"Wet": "50 %"}}' \
        >"$presets/$name.json"
done

# What the script tells readline, beside the replies.
compopt() { told+="$* "; }

failed=0
# A line, what is told, and the replies with a bar between.
Expect() {
    local COMP_LINE=$1 COMP_POINT=${#1} COMPREPLY told="" replies
    _orphia "$command"
    replies=$(printf '%s|' "${COMPREPLY[@]}")
    if [ "$replies" != "$3" ] || [ "$told" != "$2" ]; then
        printf 'for   %s\nwant  %s, %s\ngot   %s, %s\n' "$1" "$3" "$2" "$replies" "$told" >&2
        failed=1
    fi
}
nothingElse="+o default +o bashdefault "
startsAgain="-o nospace $nothingElse"

Expect 'orphia re' "$nothingElse" 'render|'
Expect 'orphia pr' "$nothingElse" 'presets|'
Expect 'orphia --v' "$nothingElse" '--version|'
Expect 'orphia ba' "$nothingElse" 'batch|'
Expect 'orphia nothing re' "$nothingElse" '|'
Expect 'orphia render --mo' "$nothingElse" '--monitor|'
Expect 'orphia render --monitor ' "$nothingElse" 'carrier|modulator|'
Expect 'orphia render --monitor=c' "$nothingElse" 'carrier|'
Expect 'orphia render --bits f' "$nothingElse" 'float|'
Expect 'orphia render --loop --mo' "$nothingElse" '--monitor|'
# Files, which readline completes itself.
Expect 'orphia vocode voi' '' '|'
Expect 'orphia render --voice voi' '' '|'
Expect 'orphia render -o ' '' '|'
Expect 'orphia vocode a.wav b.wav --preset mine' '' '|'
# No files.
Expect 'orphia render --rate ' "$nothingElse" '|'
Expect 'orphia info voi' "$nothingElse" '|'
# Names of parameters, by any ending that is clear; those of the vocoder core are fewer.
Expect 'orphia render --set Osc1Wavef' "$startsAgain" 'Osc1Waveform=|'
Expect 'orphia render --set Carrier_PitchTrackQ' "$startsAgain" 'Carrier_PitchTrackQuantize=|'
Expect 'orphia render --set=FX1_ModuleT' "$startsAgain" 'FX1_ModuleType=|'
Expect 'orphia render --set Wet=1 --set FX1_ModuleType=d' "$nothingElse" 'delay|'
Expect 'orphia render --set "FX1_ModuleType=d' "$nothingElse" 'FX1_ModuleType=delay|'
Expect 'orphia render --set FX1_ModuleType="d' "$nothingElse" 'delay|'
Expect 'orphia render --set Carrier_PitchTrack=o' "$nothingElse" 'off|on|'
Expect 'orphia render --set Modulator_ParamEq_Mode1=l' "$nothingElse" 'lowpass|low\ shelf|'
Expect 'orphia render --set "Modulator_ParamEq_Mode1=low s' "$nothingElse" 'Modulator_ParamEq_Mode1=low shelf|'
Expect 'orphia vocode a.wav b.wav --set FX1_ModuleT' "$nothingElse" '|'
Expect 'orphia vocode a.wav b.wav --set ProgramLev' "$startsAgain" 'ProgramLevel=|'
Expect 'orphia params Osc1Wavef' "$nothingElse" 'Osc1Waveform|'
# Presets, and of a user's own ones those with blanks and signs of the shell in their names.
Expect 'orphia presets talking-' '' 'talking-organ|talking-pad|'
Expect 'orphia render --preset def' '' 'default|'
Expect 'orphia render --preset my' '' 'my\ \$2\ one|my\ own|'
Expect 'orphia render --preset my\ o' '' 'my\ own|'
Expect 'orphia render --preset "my o' '' 'my own|'
Expect "orphia render --preset 'my \$" '' 'my $2 one|'
exit "$failed"

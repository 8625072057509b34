# SPDX-License-Identifier: GPL-3.0-or-later
# What the Tab key offers in fish, for lines as they are typed.
#
#   completion.fish ORPHIA
# No presets of a user.
set -x XDG_DATA_HOME /nonexistent
set -x PATH (dirname $argv[1]) $PATH
cd (dirname (status filename))
source ../../../tools/completion/orphia.fish

set failed 0
# A line, and what is offered.
function Expect
    set -l offered (complete -C $argv[1] | string replace -r '\t.*' '')
    if test "$offered" != "$argv[2..-1]"
        echo "for $argv[1]: $offered" >&2
        set failed 1
    end
end

Expect 'orphia re' render
Expect 'orphia render --bits f' float
Expect 'orphia render --monitor=c' --monitor=carrier
Expect 'orphia render --set Osc1Wavef' Osc1Waveform=
Expect 'orphia render --set FX1_ModuleType=d' FX1_ModuleType=delay
Expect 'orphia render --set "Modulator_ParamEq_Mode1=low s' 'Modulator_ParamEq_Mode1=low shelf'
Expect 'orphia render --preset=talking-o' --preset=talking-organ
Expect 'orphia render --voice manua' manual.bash
Expect 'orphia render --voice=manua' --voice=manual.bash
Expect 'orphia info manua'
exit $failed

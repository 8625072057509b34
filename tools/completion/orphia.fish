# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of orphia in fish. What fits a place is told by the command itself: orphia complete WORD...

function __orphia_candidates
    set -l words (commandline -opc)
    set -l current (commandline -ct | string unescape)
    for line in ($words[1] complete $words[2..-1] "$current" 2>/dev/null)
        if test "$line" = /
            # Also behind "--voice=".
            set -l typed (commandline -ct)
            set -l option (string match -r -- '^--[^=]+=' $typed)
            for path in (__fish_complete_path (string replace -- "$option" '' $typed))
                echo "$option$path"
            end
        else
            echo $line
        end
    end
end

complete -c orphia -f -a '(__orphia_candidates)'

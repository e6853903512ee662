# SPDX-License-Identifier: MIT
# Completion of the property command in fish. The command itself knows what may come next.

function __property_candidates
    set -l words (commandline -opc)
    $words[1] complete -- $words[2..-1] (commandline -ct) 2>/dev/null
end

complete -c property -f -a '(__property_candidates)'
complete -c property -n '__fish_seen_subcommand_from load diff' -F
complete -c property -l schema -rF
complete -c property -l against -rF

# SPDX-License-Identifier: Apache-2.0

complete -c hubsession -f
complete -c hubsession -s h -l help -d 'Tell the options'
complete -c hubsession -n __fish_use_subcommand -l version -d 'Tell the version'

complete -c hubsession -n __fish_use_subcommand -a run -d 'Play a device file'
complete -c hubsession -n __fish_use_subcommand -a show -d 'Show the snapshots of a state capture'
complete -c hubsession -n __fish_use_subcommand -a ledger -d 'Show what a statistics database holds'

set -l run '__fish_seen_subcommand_from run'
complete -c hubsession -n $run -l plugin -r -k -a '(__fish_complete_suffix .so)' -d 'The plug-in\'s library'
complete -c hubsession -n $run -l ledger -r -F -d 'The statistics database'
complete -c hubsession -n $run -l log -r -F -d 'Where the plug-in\'s log goes'
complete -c hubsession -n $run -l log-level -x -a 'default error fault off' -d 'The lowest level that is logged'
complete -c hubsession -n $run -l capture -x -a '1 2 3' -d 'Capture state: for an error, a fault, a request'
complete -c hubsession -n $run -l out -x -a '(__fish_complete_directories)' -d 'The folder for the snapshots'
complete -c hubsession -n $run -l boot-time -x -a none -d 'The boot time in microseconds'
complete -c hubsession -n $run -k -a '(__fish_complete_suffix .json)'

complete -c hubsession -n '__fish_seen_subcommand_from show ledger' -l json -d 'JSON, for tools'
complete -c hubsession -n '__fish_seen_subcommand_from show' -k -a '(__fish_complete_suffix .state)'
complete -c hubsession -n '__fish_seen_subcommand_from ledger' -F

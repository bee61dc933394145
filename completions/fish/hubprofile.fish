# SPDX-License-Identifier: Apache-2.0

# A subcommand is one only as the first word.
function __hubprofile_at_first_word
    test (count (commandline -opc)) -eq 1
end

function __hubprofile_subcommand_is
    set -l words (commandline -opc)
    contains -- "$words[2]" $argv
end

complete -c hubprofile -n __hubprofile_at_first_word -a summary -d 'Figures of captures'
complete -c hubprofile -n __hubprofile_at_first_word -a compare -d 'The figures of two captures side by side'

complete -c hubprofile -s h -l help -d 'Tell the options'
complete -c hubprofile -s o -l output -r -F -d 'Write there instead of standard output'
complete -c hubprofile -l progress -x -a 'auto always never' -d 'Show progress on standard error'
complete -c hubprofile -l fail-on-gap -d 'Exit with 3 when records are lost or out of order'
complete -c hubprofile -l where -x -d 'Only records for which the expression is true'
complete -c hubprofile -l since -x -d 'Only records from this time on'
complete -c hubprofile -l until -x -d 'Only records before this time'
complete -c hubprofile -l timesync -x -d 'The simultaneous clock pair, in nanoseconds'

set -l follows 'not __hubprofile_subcommand_is compare'
complete -c hubprofile -n $follows -l follow -d 'Read on behind the end of the last file'
complete -c hubprofile -n $follows -l idle-timeout -x -d 'End when no record has come for so many seconds'

set -l figures '__hubprofile_subcommand_is summary compare'
complete -c hubprofile -n $figures -l json -d 'One JSON object, for tools'
complete -c hubprofile -n $figures -l width -x -d 'How wide lines may be'
complete -c hubprofile -n $figures -l rows -x -d 'How many rows a table may have'

set -l decodes 'not __hubprofile_subcommand_is summary compare'
complete -c hubprofile -n $decodes -l version -d 'Tell the version'
complete -c hubprofile -n $decodes -l boot-time -x -a none -d 'The boot time in microseconds'
complete -c hubprofile -n $decodes -s f -l format -x -a 'text jsonl csv pcapng trace' -d 'The form of records'
complete -c hubprofile -n $decodes -l fields -x -d 'The columns of csv'
complete -c hubprofile -n $decodes -l device -x -d 'The name of the interface in pcapng'
complete -c hubprofile -n $decodes -l delta -x -a 'prev match start' -d 'Show how much later each line is'
complete -c hubprofile -n $decodes -l color -x -a 'auto always never' -d 'Colour lines by category'
complete -c hubprofile -n $decodes -l until-match -x -d 'End after so many records'
complete -c hubprofile -n $decodes -l gaps -d 'List losses instead of records'
complete -c hubprofile -n $decodes -s j -l jobs -x -d 'How many threads decode'

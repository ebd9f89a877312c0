# fish completion for sorrelwind

set -l commands create join pair passphrase status devices remove rename send receive pause resume leave quit
set -l first "not __fish_seen_subcommand_from $commands" # also behind options with values

complete -c sorrelwind -f
complete -c sorrelwind -s h -l help -d 'Show the options'
complete -c sorrelwind -l config-dir -r -F -d 'Folder of account and preferences'
complete -c sorrelwind -l clipboard -x -a 'x11 wayland' -d 'Which clipboard to use'
complete -c sorrelwind -l headless -d 'Run the agent without icon and windows'
complete -c sorrelwind -n $first -l version -d 'Show the version'

complete -c sorrelwind -n $first -a create -d 'Make a new group'
complete -c sorrelwind -n $first -a join -d 'Join a group by a link or a code'
complete -c sorrelwind -n $first -a pair -d 'Show pairing code, link and QR code'
complete -c sorrelwind -n $first -a passphrase -d 'Enter the group\'s passphrase again'
complete -c sorrelwind -n $first -a status -d 'Show how things stand'
complete -c sorrelwind -n $first -a devices -d 'List the devices of the group'
complete -c sorrelwind -n $first -a remove -d 'Remove another device from the group'
complete -c sorrelwind -n $first -a rename -d 'Rename this device'
complete -c sorrelwind -n $first -a send -d 'Send a text to the other devices'
complete -c sorrelwind -n $first -a receive -d 'Print the newest text received'
complete -c sorrelwind -n $first -a pause -d 'Pause syncing'
complete -c sorrelwind -n $first -a resume -d 'Resume syncing'
complete -c sorrelwind -n $first -a leave -d 'Leave the group'
complete -c sorrelwind -n $first -a quit -d 'End the running agent'

set -l member '__fish_seen_subcommand_from create join'
complete -c sorrelwind -n $member -l server -x -d 'The hub\'s address'
complete -c sorrelwind -n '__fish_seen_subcommand_from create' -l host -d 'Host the hub on this computer'
complete -c sorrelwind -n $member -l name -x -d 'This device\'s name'
complete -c sorrelwind -n $member -l passphrase-stdin -d 'Read the passphrase from standard input'
complete -c sorrelwind -n '__fish_seen_subcommand_from pair status devices' -l json -d 'Print JSON'
complete -c sorrelwind -n '__fish_seen_subcommand_from receive' -s f -l follow -d 'Go on with every further text'
complete -c sorrelwind -n '__fish_seen_subcommand_from receive' -s 0 -l null -d 'End each text with NUL'

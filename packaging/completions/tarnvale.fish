# Completion of tarnvale for fish.

set -l verbs add set remove move list show kinds create eject remount rebuild sync backup clean recover menu menu-bar session-save
set -l actions create eject remount rebuild sync backup clean recover

complete -c tarnvale -f
complete -c tarnvale -s q -l quiet -d 'Say nothing but what went wrong'
complete -c tarnvale -s v -l verbose -d 'Show the log too'
complete -c tarnvale -s h -l help -d 'Show help'

set -l first "not __fish_seen_subcommand_from $verbs"
complete -c tarnvale -n $first -l version -d 'Show the version'
complete -c tarnvale -n $first -a add -d 'Configure a new disk'
complete -c tarnvale -n $first -a set -d 'Change the settings of a disk'
complete -c tarnvale -n $first -a remove -d 'Forget disks'
complete -c tarnvale -n $first -a move -d 'Change the place of a disk in the list'
complete -c tarnvale -n $first -a list -d 'Show all disks'
complete -c tarnvale -n $first -a show -d 'Show all that is known of disks'
complete -c tarnvale -n $first -a kinds -d 'Show the kinds of disks'
complete -c tarnvale -n $first -a create -d 'Create disks, fill and mount them'
complete -c tarnvale -n $first -a eject -d 'Save what is to be kept and give the memory back'
complete -c tarnvale -n $first -a remount -d 'Mount disks that were only unmounted'
complete -c tarnvale -n $first -a rebuild -d 'Eject disks and create them anew'
complete -c tarnvale -n $first -a sync -d 'Save for the directory that the disk replaces'
complete -c tarnvale -n $first -a backup -d 'Save to the backup folder'
complete -c tarnvale -n $first -a clean -d 'Delete the contents of mounted disks'
complete -c tarnvale -n $first -a recover -d 'Put right what cut-off actions have left'
complete -c tarnvale -n $first -a menu -d 'Show what the menu-bar companion shows'
complete -c tarnvale -n $first -a menu-bar -d 'Show the disks in the menu bar'
complete -c tarnvale -n $first -a session-save -d 'Save mounted disks when the session ends'

complete -c tarnvale -n "__fish_seen_subcommand_from set remove move show $actions" -a '(tarnvale list --names 2>/dev/null)'
complete -c tarnvale -n '__fish_seen_subcommand_from add' -a '(__fish_complete_directories)'
complete -c tarnvale -n '__fish_seen_subcommand_from menu-bar session-save' -a 'on off'
complete -c tarnvale -n "__fish_seen_subcommand_from show $actions" -l all -d 'Every disk'
complete -c tarnvale -n '__fish_seen_subcommand_from list show kinds recover menu' -l json -d 'Write JSON'
complete -c tarnvale -n '__fish_seen_subcommand_from list' -l names -d 'Write the names only'
complete -c tarnvale -n '__fish_seen_subcommand_from eject rebuild' -l force -d 'Also when programs use the disk'
complete -c tarnvale -n '__fish_seen_subcommand_from recover' -l dry-run -d 'Only say what would be done'
complete -c tarnvale -n '__fish_seen_subcommand_from remove clean' -l yes -d 'Do not ask'
complete -c tarnvale -n '__fish_seen_subcommand_from menu' -l open -x -a '(tarnvale list --names 2>/dev/null)' -d 'With what can be done to this disk'
complete -c tarnvale -n '__fish_seen_subcommand_from menu' -l png -r -F -d 'Draw it into this file'
complete -c tarnvale -n '__fish_seen_subcommand_from menu' -l dark -d 'As on a dark desktop'
complete -c tarnvale -n '__fish_seen_subcommand_from add set menu-bar' -l at-login -d 'At login too'
complete -c tarnvale -n '__fish_seen_subcommand_from add set menu-bar' -l no-at-login -d 'Not at login'

set -l settings '__fish_seen_subcommand_from add set'
complete -c tarnvale -n $settings -l kind -x -a 'plain safari xcode ios-simulator core-simulator appcode firefox chrome opera' -d 'What the disk is for'
complete -c tarnvale -n $settings -l simulator -x -d 'Simulator device'
complete -c tarnvale -n $settings -l name -x -d 'Name of the volume'
complete -c tarnvale -n $settings -l directory -x -a '(__fish_complete_directories)' -d 'Directory above it'
complete -c tarnvale -n $settings -l size -x -d 'Such as 512M, 1.5G or 2GiB'
complete -c tarnvale -n $settings -l backup -x -a 'none support directory base' -d 'Where the contents are kept'
complete -c tarnvale -n $settings -l backup-dir -x -a '(__fish_complete_directories)' -d 'Keep them below this directory'
complete -c tarnvale -n $settings -l post-command -x -d 'Command to run on the new disk'
complete -c tarnvale -n $settings -l index -x -a 'unchanged on off' -d 'Search index'
complete -c tarnvale -n $settings -l format -x -a 'hfs+ case-sensitive' -d 'Format of the volume'
complete -c tarnvale -n $settings -l no-measure -d "Leave the directory's own contents out"
complete -c tarnvale -n $settings -l measure -d 'Measure and copy them'

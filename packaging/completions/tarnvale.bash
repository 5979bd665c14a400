# Completion of tarnvale for bash.

_tarnvale_words() {
    local IFS=$'\n'
    COMPREPLY=($(compgen -W "$1" -- "$cur"))
}

# Names of disks may hold spaces: they are quoted where the shell needs it.
_tarnvale_disks() {
    local name
    COMPREPLY=()
    while IFS= read -r name; do
        [[ $name == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$name")")
    done < <(tarnvale list --names 2>/dev/null)
}

_tarnvale() {
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb='' word
    local verbs='add set remove move list show kinds create eject remount rebuild sync backup clean recover menu menu-bar session-save'
    local common='--help --quiet --verbose'
    local settings='--kind --simulator --name --directory --size --backup --backup-dir
--post-command --index --format --at-login --no-at-login --measure --no-measure'
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            -*) ;;
            *) verb=$word; break ;;
        esac
    done
    if [[ -z $verb ]]; then
        _tarnvale_words "${verbs// /$'\n'}"$'\n'"${common// /$'\n'}"$'\n--version'
        return
    fi
    case $previous in
        --kind) _tarnvale_words $'plain\nsafari\nxcode\nios-simulator\ncore-simulator\nappcode\nfirefox\nchrome\nopera'; return ;;
        --backup) _tarnvale_words $'none\nsupport\ndirectory\nbase'; return ;;
        --index) _tarnvale_words $'unchanged\non\noff'; return ;;
        --format) _tarnvale_words $'hfs+\ncase-sensitive'; return ;;
        --directory | --backup-dir) compopt -o filenames; COMPREPLY=($(compgen -d -- "$cur")); return ;;
        --png) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
        --open) _tarnvale_disks; return ;;
        --simulator | --name | --size | --post-command) return ;;
    esac
    if [[ $cur == -* ]]; then
        local options=''
        case $verb in
            add | set) options=$settings ;;
            remove) options='--yes' ;;
            list) options='--json --names' ;;
            show) options='--all --json' ;;
            kinds) options='--json' ;;
            clean) options='--all --yes' ;;
            create | eject | rebuild) options='--all --force' ;;
            remount | sync | backup) options='--all' ;;
            recover) options='--all --dry-run --json' ;;
            menu) options='--open --png --dark --json' ;;
            menu-bar) options='--at-login --no-at-login' ;;
        esac
        options="$options $common"
        _tarnvale_words "$(printf '%s\n' $options)"
        return
    fi
    case $verb in
        add) compopt -o filenames; COMPREPLY=($(compgen -d -- "$cur")) ;;
        menu-bar | session-save) _tarnvale_words $'on\noff' ;;
        list | kinds | menu) ;;
        *) _tarnvale_disks ;;
    esac
}

complete -F _tarnvale tarnvale

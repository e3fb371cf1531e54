# bash completion for vellmora. The commands and options are read from the program's own --help, so that
# they always match the installed version.

_vellmora_help_words() {
    # $1: "commands" or "options"; the help text on stdin.
    if [[ $1 == options ]]; then
        sed -n 's/^ *\(-[^ ]*\).*/\1/p' | tr ',' '\n' | grep '^-'
    else
        awk 'tolower($0) ~ /^subcommands:/ { inside = 1; next }
             inside && /^  [a-z]/ { print $1; next }
             inside && /^[^ ]/ { inside = 0 }'
    fi
}

_vellmora() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    local prev=${COMP_WORDS[COMP_CWORD - 1]}
    case $prev in
    --config-dir | --data-dir | --cache-dir)
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
        return
        ;;
    esac
    local -a chosen=()
    local i word
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        case $word in
        --config-dir | --data-dir | --cache-dir) ((i++)) ;;
        -*) ;;
        *) chosen+=("$word") ;;
        esac
    done
    local help
    help=$("${COMP_WORDS[0]}" "${chosen[@]}" --help 2>/dev/null) || return
    local kind=commands
    [[ $cur == -* ]] && kind=options
    local candidates
    candidates=$(_vellmora_help_words "$kind" <<<"$help")
    if [[ -z $candidates && $kind == commands ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$cur")
}

complete -F _vellmora vellmora

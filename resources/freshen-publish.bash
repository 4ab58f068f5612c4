# shellcheck shell=bash
# Completes the command line of freshen-publish in bash. What there is to complete is what the program's own help says.

# _freshen_publish_help [COMMAND]: the options of a command, or all commands and the options of all.
_freshen_publish_help() {
    "$_freshen_publish_program" "$@" --help 2>/dev/null
}

_freshen_publish() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local _freshen_publish_program=${COMP_WORDS[0]}
    local commands command='' word
    commands=$(_freshen_publish_help | sed -n '/^Commands:/,/^$/s/^  \([a-z-]*\).*/\1/p')
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $'\n'$commands$'\n' != *$'\n'$word$'\n'* ]] || command=$word
    done

    # shellcheck disable=SC2207  # No word has a blank in it.
    case $previous in
        --format) COMPREPLY=($(compgen -W 'text json' -- "$current")) ;;
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$current")) ;;
        --to) COMPREPLY=($(compgen -W 'Stable Beta Test' -- "$current")) ;;
        --root | --scratch | --output) compopt -o dirnames ;;
        *)
            if [[ $current == -* ]]; then
                COMPREPLY=($(compgen -W "$(_freshen_publish_help ${command:+"$command"} |
                    grep --only-matching -- '^  -[^<]*' | grep --only-matching -- '--[a-z-]*')" -- "$current"))
            elif [[ -z $command ]]; then
                COMPREPLY=($(compgen -W "$commands" -- "$current"))
            else
                compopt -o default
            fi
            ;;
    esac
} && complete -F _freshen_publish freshen-publish

# bash completion for mdp: the words come from the running service.

_mdp() {
    local line=${COMP_LINE:0:COMP_POINT} words word prefix text
    read -ra words <<<"$line"
    [[ $line == *[[:space:]] ]] && words+=("")
    word=${words[-1]}
    # Where a colon breaks words, only what is behind it is replaced.
    prefix=
    [[ $word == *:* && $COMP_WORDBREAKS == *:* ]] && prefix=${word%:*}:
    COMPREPLY=()
    while IFS=$'\t' read -r text _; do
        if [[ $text == :files ]]; then
            compopt -o filenames
            mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
        else
            # More is to come behind the name of a directory.
            [[ $text == */ ]] && compopt -o nospace
            COMPREPLY+=("${text#"$prefix"}")
        fi
    done < <("${words[0]}" __complete -- "${words[@]:1}" 2>/dev/null)
}

complete -F _mdp mdp

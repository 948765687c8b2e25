# bash completion for mdp: the words come from the running service.

# Splits a line into words as the shell does, quotes taken off and nothing expanded. The last word may still be open:
# quote is then the quote that it is in.
_mdp_split() {
    local line=$1 word='' begun='' char i
    words=() quote=''
    for ((i = 0; i < ${#line}; ++i)); do
        char=${line:i:1}
        if [[ $char == "$quote" ]]; then
            quote=
        elif [[ -z $quote && $char == [\"\'] ]]; then
            quote=$char begun=1
        elif [[ -z $quote && $char == [[:space:]] ]]; then
            [[ -z $begun ]] || words+=("$word")
            word='' begun=
        else
            # Between double quotes a backslash stands for itself before most characters.
            if [[ $char == \\ && (-z $quote || ($quote == \" && ${line:i+1:1} == [\"\\\$\`])) ]]; then
                i=$((i + 1))
                char=${line:i:1}
            fi
            word+=$char begun=1
        fi
    done
    words+=("$word")
}

# Offers a text in the form that stands for it within the quote. The names of files are chosen by others: none may be
# more than a word to the shell.
_mdp_offer() {
    local text=$1 quote=$2 quoted='' char i
    if [[ -z $quote ]]; then
        printf -v quoted %q "$text"
    else
        for ((i = 0; i < ${#text}; ++i)); do
            char=${text:i:1}
            case $quote$char in
            "''") quoted+="'\\''" ;;
            '""' | '"!') quoted+="\"'$char'\"" ;; # the history is looked up between double quotes too
            '"'[\\\$\`]) quoted+="\\$char" ;;
            *) quoted+=$char ;;
            esac
        done
        # readline ends the quote, but not behind a text that seems to have ended it.
        [[ $quoted != *"$quote" ]] || quoted+=$quote
    fi
    COMPREPLY+=("$quoted")
}

_mdp() {
    local line=${COMP_LINE:0:COMP_POINT} words quote prefix within text
    # Only $2 is replaced: what is behind an open quote or the last character that breaks words, such as a colon.
    _mdp_split "${line:0:${#line}-${#2}}"
    prefix=${words[-1]} within=$quote
    _mdp_split "$line"
    COMPREPLY=()
    while IFS=$'\t' read -r text _; do
        if [[ $text == :files ]]; then
            compopt -o default
        else
            # More is to come behind the name of a directory.
            [[ $text == */ ]] && compopt -o nospace
            _mdp_offer "${text#"$prefix"}" "$within"
        fi
    done < <("${words[0]}" __complete -- "${words[@]:1}" 2>/dev/null)
}

complete -F _mdp mdp

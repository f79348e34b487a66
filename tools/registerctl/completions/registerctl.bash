# Completion of registerctl for bash.

# Prints a word of the command line without its quotes, and with the home for "~/".
_registerctl_unquoted() {
    local word=$1 quote='' plain='' char
    [[ $word != '~/'* ]] || word=$HOME${word:1}
    while [[ -n $word ]]; do
        char=${word:0:1} word=${word:1}
        if [[ $char == '\' && $quote != "'" ]]; then
            plain+=${word:0:1} word=${word:1}
        elif [[ $char == "$quote" ]]; then
            quote=''
        elif [[ -z $quote && $char == [\"\'] ]]; then
            quote=$char
        else
            plain+=$char
        fi
    done
    printf '%s' "$plain"
}

_registerctl() {
    local word line words=()
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        # bash splits "--option=value" into three words.
        [[ $word == '=' ]] || words+=("$(_registerctl_unquoted "$word")")
    done
    [[ $word != '=' ]] || words+=('')
    while IFS= read -r line; do
        # Inside a quote, bash takes the candidates as they are.
        [[ $word == [\"\']* ]] || line=$(printf '%q' "$line")
        COMPREPLY+=("$line")
    done < <(registerctl __complete "${words[@]}" 2>/dev/null)
    # One more level may follow the name of a group.
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace
}
complete -o default -F _registerctl registerctl

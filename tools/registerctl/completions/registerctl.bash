# Completion of registerctl for bash.
_registerctl() {
    local line
    COMPREPLY=()
    while IFS= read -r line; do
        COMPREPLY+=("$(printf '%q' "$line")")
    done < <(registerctl __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    # One more level may follow the name of a group.
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace
}
complete -o default -F _registerctl registerctl

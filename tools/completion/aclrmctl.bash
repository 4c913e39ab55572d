# Completion of aclrmctl for bash. The tool itself knows what may come next, ids that are there now
# included; it says nothing when the daemon does not answer at once.
#
# Installed as share/bash-completion/completions/aclrmctl; or: source aclrmctl.bash

_aclrmctl() {
    # The shell splits "--acl=1" at its word breaks; the tool wants it whole.
    local words=() word glued=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        if [[ $word == "=" && ${#words[@]} -gt 0 ]]; then
            words[-1]+="="
            glued=1
        elif [[ $glued ]]; then
            words[-1]+=$word
            glued=
        else
            words+=("$word")
        fi
    done
    ((${#words[@]})) || words=("")
    local current=${words[-1]} tool=${COMP_WORDS[0]/#\~/$HOME} lead=
    if [[ $current == --*=* && $COMP_WORDBREAKS == *"="* ]]; then
        lead=${current%%=*}=
    fi

    COMPREPLY=()
    while IFS= read -r word; do
        if [[ $word == ":files" ]]; then
            compopt -o filenames 2>/dev/null
            mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "${current#"$lead"}")
        else
            COMPREPLY+=("${word#"$lead"}")
        fi
    done < <("$tool" __complete -- "${words[@]}" 2>/dev/null)
}
complete -F _aclrmctl aclrmctl

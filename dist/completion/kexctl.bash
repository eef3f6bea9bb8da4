# shellcheck shell=bash
# Completion of kexctl for bash; kexctl itself knows the words.

_kexctl() {
    local words
    # Not COMP_WORDS: bash ends a word at each colon of an address.
    read -ra words <<<"${COMP_LINE:0:COMP_POINT}"
    [[ ${COMP_LINE:0:COMP_POINT} == *[[:space:]] ]] && words+=("")
    mapfile -t COMPREPLY < <("${words[0]}" complete "${words[@]:1}" 2>/dev/null)
}

complete -F _kexctl kexctl

# Completion of kivplug for bash.

_kivplug() {
    local IFS=$'\n'
    COMPREPLY=($("$1" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | cut -f 1))
}

# Without candidates, bash completes files.
complete -o default -F _kivplug kivplug

# Completion of kivplug for fish. Without candidates, fish completes files.

function __kivplug_complete
    set --local words (commandline --current-process --tokenize --cut-at-cursor)
    $words[1] complete -- $words[2..] (commandline --current-token --cut-at-cursor) 2>/dev/null
end

complete --command kivplug --arguments '(__kivplug_complete)'

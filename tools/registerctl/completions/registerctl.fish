# Completion of registerctl for fish. Without candidates, fish completes the names of files.
complete -c registerctl -a '(registerctl __complete (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)'

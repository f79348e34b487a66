# Completion of registerctl for fish. Without candidates, fish completes the names of files.
function __registerctl_complete
    set -l words
    for word in (commandline -opc)[2..-1] (commandline -ct)
        # A quote may still be open.
        for closed in $word $word\" $word\'
            if set -l plain (string unescape -- $closed)
                set -a words (string replace -r '^~/' "$HOME/" -- "$plain")
                break
            end
        end
    end
    registerctl __complete $words 2>/dev/null
end
complete -c registerctl -a '(__registerctl_complete)'

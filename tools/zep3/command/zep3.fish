# Completion of zep3 for fish: the program says what may follow a word; otherwise names of files.
function __zep3_words
    set -l words (commandline -opc)
    set -l verb
    if test (count $words) -gt 1; and contains -- $words[2] auto analyse compare overview scan tables
        set verb $words[2]
    end
    $words[1] $verb --words-after=$words[-1] 2>/dev/null
end
complete -c zep3 -a '(__zep3_words)'

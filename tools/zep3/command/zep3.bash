# Completion of zep3 for bash: the program says what may follow a word; otherwise names of files.
_zep3() {
  local cur prev words cword verb
  _init_completion || return
  case ${words[1]} in auto | analyse | compare | overview | scan | tables) verb=${words[1]} ;; esac
  ((cword == 1)) && verb=
  local IFS=$'\n'
  COMPREPLY=($(compgen -W "$("$1" $verb --words-after "$prev" 2>/dev/null | cut -f1)" -- "$cur"))
  [[ $cur == -* ]] || [[ $prev == -* && ${#COMPREPLY[@]} -gt 0 ]] || _filedir
} && complete -F _zep3 zep3

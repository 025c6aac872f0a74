#compdef zep3
# Completion of zep3 for zsh: the program says what may follow a word; otherwise names of files.
_zep3() {
  local verb line
  local -a options
  [[ $PREFIX == -* ]] && options=(-o)
  local -a offered
  ((CURRENT > 2)) && [[ $words[2] == (auto|analyse|compare|overview|scan|tables) ]] && verb=$words[2]
  for line in ${(f)"$($words[1] $verb --words-after "$words[CURRENT-1]" 2>/dev/null)"}; do
    offered+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
  done
  ((${#offered})) && _describe $options zep3 offered && [[ $PREFIX == -* || $words[CURRENT-1] == -* ]] && return
  [[ $PREFIX == -* ]] || _files
}
_zep3 "$@"

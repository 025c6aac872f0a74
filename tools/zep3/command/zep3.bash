# Completion of zep3 for bash: options and kinds from its help, names otherwise.
_zep3() {
  local cur prev words cword
  _init_completion || return
  case $prev in
    -k | --kind)
      COMPREPLY=($(compgen -W "$("$1" --help | sed -n '/^Kinds/,/^$/s/^  \([a-z-]*\) .*/\1/p')" -- "$cur"))
      ;;
    --analysis) COMPREPLY=($(compgen -W "standard adaptive" -- "$cur")) ;;
    --also-read) COMPREPLY=($(compgen -W "jp2 jxl heif gif pdf" -- "$cur")) ;;
    --as) COMPREPLY=($(compgen -W "text csv json png scanimage" -- "$cur")) ;;
    --format) COMPREPLY=($(compgen -W "tif png jpg webp pnm" -- "$cur")) ;;
    --option) COMPREPLY=($(compgen -W "normal plain" -- "$cur")) ;;
    --saturation) COMPREPLY=($(compgen -W "on off -20 20" -- "$cur")) ;;
    *)
      if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_parse_help "$1")" -- "$cur"))
      else
        _filedir
        ((cword == 1)) && COMPREPLY+=($(compgen -W "auto analyse tables compare" -- "$cur"))
      fi
      ;;
  esac
} && complete -F _zep3 zep3

#compdef tvl
# Completes command lines of tvl in zsh.

_tvl() {
  local directive line
  local -a lines names shown folders shown_folders
  lines=("${(@f)$("${(Q)words[1]/#\~\//$HOME/}" complete-line -- "${(j: :)words[1,CURRENT-1]} $PREFIX" 2>/dev/null)}")
  directive=$lines[1]
  case $directive in
    files*|folders*)
      local folder=${directive#*$'\t'}
      local -a only
      [[ $directive == folders* ]] && only=(-/)
      compset -P '--[a-z-]##='
      if [[ $folder == . ]]; then _files $only; else _files $only -W "$folder"; fi
      ;;
    programs) _command_names -e ;;
    *)
      for line in "${(@)lines[2,-1]}"; do
        local name=${line%%$'\t'*}
        local text=$name
        [[ $line == *$'\t'* ]] && text="$name  -- ${line#*$'\t'}"
        if [[ $name == */ ]]; then
          folders+=("$name")
        else
          names+=("$name") shown+=("$text")
        fi
      done
      compadd -S '' -a folders
      compadd -l -d shown -a names
      ;;
  esac
}

if [[ $funcstack[1] == _tvl ]]; then
  _tvl "$@"
else
  compdef _tvl tvl
fi

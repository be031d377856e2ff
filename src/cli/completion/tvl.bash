# Completes command lines of tvl in bash.

# Adds local files or folders below a folder.
_tvl_files() {
  local action=$1 folder=$2
  compopt -o filenames
  mapfile -t COMPREPLY < <(cd -- "$folder" 2>/dev/null && compgen -A "$action" -- "$3")
}

_tvl() {
  local line=${COMP_LINE:0:COMP_POINT} current=$2 raw=${COMP_WORDS[COMP_CWORD]}
  local directive candidate lead
  local -a candidates
  mapfile -t candidates < <("$1" complete-line -- "$line" 2>/dev/null)
  directive=${candidates[0]-}
  case $directive in
    files*) _tvl_files file "${directive#*$'\t'}" "$current" ;;
    folders*) _tvl_files directory "${directive#*$'\t'}" "$current" ;;
    programs) mapfile -t COMPREPLY < <(compgen -A command -- "$current") ;;
    *)
      # bash replaces only what follows the last ":" or "=" of the word.
      lead=${line##*[[:blank:]]}
      lead=${lead%"$current"}
      [[ $lead == *[:=] ]] || lead=
      for candidate in "${candidates[@]:1}"; do
        candidate=${candidate%%$'\t'*}
        candidate=${candidate#"$lead"}
        [[ $raw == [\"\']* ]] || printf -v candidate %q "$candidate"
        COMPREPLY+=("$candidate")
      done
      if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]]; then compopt -o nospace; fi
      ;;
  esac
}

complete -F _tvl tvl

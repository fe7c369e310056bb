# bash completion of qrbscm: the program itself says what can stand where.

_qrbscm() {
  local current=${COMP_WORDS[COMP_CWORD]} program=${COMP_WORDS[0]/#\~\//$HOME/}
  local -a answer
  # Where words are split at it, what follows it has not been begun.
  [[ $current == = ]] && current=
  mapfile -t answer < <("$program" __complete "${COMP_WORDS[@]:1:COMP_CWORD-1}" "$current" 2>/dev/null)
  case ${answer[0]} in
    files) _qrbscm_paths -f "$current" ;;
    folders) _qrbscm_paths -d "$current" ;;
    *) COMPREPLY=("${answer[@]:1}") && COMPREPLY=("${COMPREPLY[@]%%$'\t'*}") ;;
  esac
}

_qrbscm_paths() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
}

complete -F _qrbscm qrbscm

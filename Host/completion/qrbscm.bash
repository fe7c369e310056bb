# bash completion of qrbscm

_qrbscm() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} word command=
  local common="--help --json --verbose --plug-in-directory"
  local -A options=(
    [systems]=""
    [status]="--remote --ignored"
    [log]="--max-count --search --author --file --address-book --paths"
    [branches]=""
    [info]=""
    [accounts]=""
  )
  local -A accounts=(
    [list]=""
    [add]="--user --key --fingerprint --password-stdin"
    [remove]=""
    [test]="--system --password-stdin"
  )
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ -n $word && -v options[$word] ]]; then
      command=$word
      break
    fi
  done
  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W "${!options[*]} --help --version" -- "$current"))
    return
  fi
  local action=
  if [[ $command == accounts ]]; then
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
      [[ -n $word && -v accounts[$word] ]] && action=$word && break
    done
  fi
  case $previous in
    -n | --max-count | --search | --author | --user | --fingerprint | --system)
      COMPREPLY=()
      return
      ;;
    --file | --key)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --plug-in-directory | --address-book) ;;
    *)
      if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "$common ${options[$command]} ${action:+${accounts[$action]}}" -- "$current"))
        return
      fi
      if [[ $command == accounts ]]; then
        COMPREPLY=()
        [[ -z $action ]] && COMPREPLY=($(compgen -W "${!accounts[*]}" -- "$current"))
        return
      fi
      ;;
  esac
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -d -- "$current")
}

complete -F _qrbscm qrbscm

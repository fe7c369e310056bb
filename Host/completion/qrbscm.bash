# bash completion of qrbscm

_qrbscm() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} word command= action=
  local common="--help --verbose --plug-in-directory"
  local -A options=(
    [systems]="--json"
    [status]="--json --remote --ignored"
    [log]="--json --max-count --search --author --file --address-book --paths"
    [info]="--json"
    [add]="--directory"
    [rm]="--directory"
    [mv]="--directory"
    [cp]="--directory"
    [mkdir]="--directory --parents"
    [discard]="--directory --all"
    [resolve]="--directory"
    [commit]="--json --directory --message --file"
    [show]="--json --directory --stat"
    [diff]="--json --directory --stat"
    [blame]="--json --directory"
    [export]="--json --directory --parent-of --output"
    [switch]="--directory --create"
    [merge]="--directory"
    [branch]="--json --directory"
    [branches]="--json"
    [tag]="--json --directory"
    [remote]="--json --directory"
    [fetch]="--directory"
    [push]="--directory"
    [update]="--directory"
    [clone]="--json --branch --tag --revision --system"
    [init]="--system"
    [accounts]="--json"
  )
  # Of commands that have actions: the options of each.
  local -A actions=(
    ["branch list"]="--remotes --all"
    ["branch add"]="--from --remote"
    ["branch remove"]="--remote"
    ["remote list"]=""
    ["remote add"]=""
    ["remote remove"]=""
    ["accounts list"]=""
    ["accounts add"]="--user --key --fingerprint --password-stdin"
    ["accounts remove"]=""
    ["accounts test"]="--system --password-stdin"
  )
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ -z $command ]]; then
      [[ -n $word && -v options[$word] ]] && command=$word
    elif [[ -z $action && -v actions["$command $word"] ]]; then
      action=$word
    fi
  done
  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W "${!options[*]} --help --version" -- "$current"))
    return
  fi
  case $previous in
    --directory | -C | --plug-in-directory | --address-book | --output | -o)
      _qrbscm_paths -d
      return
      ;;
    --file | -F | --key)
      _qrbscm_paths -f
      return
      ;;
    --max-count | --search | --author | --message | --parent-of | --create | --from | --remote | --branch | --tag | \
      --revision | --system | --user | --fingerprint | -n | -m | -c)
      # "-m" and its like take a value, "--remote" of the status does not.
      if [[ $command != status ]]; then
        COMPREPLY=()
        return
      fi
      ;;
  esac
  if [[ $current == -* ]]; then
    COMPREPLY=($(compgen -W "$common ${options[$command]} ${action:+${actions["$command $action"]}}" -- "$current"))
    return
  fi
  case $command in
    branch | remote | accounts)
      COMPREPLY=()
      [[ -n $action ]] && return
      local each
      for each in "${!actions[@]}"; do
        [[ $each == "$command $current"* ]] && COMPREPLY+=("${each#* }")
      done
      ;;
    add | rm | mv | cp | discard | resolve | commit | blame | export) _qrbscm_paths -f ;;
    systems | show | diff | switch | merge | tag | fetch | push | update) COMPREPLY=() ;;
    *) _qrbscm_paths -d ;;
  esac
}

_qrbscm_paths() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "${COMP_WORDS[COMP_CWORD]}")
}

complete -F _qrbscm qrbscm

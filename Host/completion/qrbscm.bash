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
    [blueprint]="--json"
    [workspace]="--json"
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
    ["blueprint create"]="--output --primary --project --name --force --credentials --no-revisions"
    ["blueprint show"]=""
    ["blueprint validate"]=""
    ["blueprint diff"]=""
    ["blueprint merge"]="--output --replace --force --credentials --no-revisions --drop-unusable"
    ["blueprint convert"]="--force --credentials --no-revisions --drop-unusable"
    ["blueprint checkout"]="--key-directory --allow-outside"
    ["blueprint check-updates"]="--key-directory"
    ["workspace status"]="--remote --ignored"
    ["workspace log"]="--max-count --search --author --paths --since"
    ["workspace update"]=""
    ["workspace compare"]=""
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
    --output | -o)
      # A file of a blueprint, a folder of an export.
      if [[ $command == blueprint ]]; then _qrbscm_paths -f; else _qrbscm_paths -d; fi
      return
      ;;
    --directory | -C | --plug-in-directory | --address-book | --primary | --key-directory)
      _qrbscm_paths -d
      return
      ;;
    --file | -F | --key | --project | --since)
      _qrbscm_paths -f
      return
      ;;
    --max-count | --search | --author | --message | --parent-of | --create | --from | --remote | --branch | --tag | \
      --revision | --system | --user | --fingerprint | --name | -n | -m | -c)
      # "-m" and its like take a value, "--remote" of the status does not.
      if [[ $command != status && $action != status ]]; then
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
    branch | remote | accounts | blueprint | workspace)
      COMPREPLY=()
      case "$command $action" in
        "blueprint create" | "workspace "[slu]*) _qrbscm_paths -d ;;
        "blueprint "[a-z]* | "workspace compare") _qrbscm_paths -f ;;
      esac
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

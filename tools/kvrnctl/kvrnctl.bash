# bash completion for kvrnctl                                     -*- shell-script -*-

_kvrnctl_paths() {
  # Paths of values, as far as they are typed: the program itself knows them.
  local typed=$1 parent=${1%.*}
  [[ $typed == *.* ]] || {
    kvrnctl get 2>/dev/null
    return
  }
  kvrnctl get "$parent" 2>/dev/null | sed -n "s/^\(${parent//./\\.}\.[^.=]*\).*/\1/p" | sort -u
}

# _kvrnctl_psus [battery]: the board's sources.
_kvrnctl_psus() {
  kvrnctl psu --json 2>/dev/null | awk -v wanted="${1-}" '
    $1 == "\"id\":" { id = $2 + 0 }
    $1 == "\"type\":" && (wanted == "" || index($2, wanted)) { print id }'
}

_kvrnctl_lines() {
  kvrnctl gpio list 2>/dev/null | awk '$1 ~ /^[0-9]+$/ { print $1; if ($2 != "-") print int($1 / 100) ":" $2 }'
}

_kvrnctl() {
  local cur prev words cword
  _init_completion -s -n : || return

  local common="--json --verbose --help" command="" sub="" given=0 psu=2 i
  for ((i = 1; i < cword; i++)); do
    [[ ${words[i - 1]} != --psu ]] || psu=${words[i]}
    [[ ${words[i]} == -* || ${words[i - 1]} == --psu || ${words[i - 1]} == --source ]] && continue
    if [[ -z $command ]]; then
      command=${words[i]}
    elif [[ ($command == gpio || $command == cfg || $command == charge || $command == alarms || $command == snmp) && -z $sub ]]; then
      sub=${words[i]}
    else
      ((++given))
    fi
  done

  if [[ $prev == --source ]]; then
    mapfile -t COMPREPLY < <(compgen -W "auto cache direct" -- "$cur")
    return
  fi

  if [[ $prev == --psu ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_kvrnctl_psus battery)" -- "$cur")
    return
  fi

  if [[ $prev == --format ]]; then
    mapfile -t COMPREPLY < <(compgen -W "text prometheus" -- "$cur")
    return
  fi
  if [[ $prev == --type ]]; then
    mapfile -t COMPREPLY < <(compgen -W "str bool int uint int64" -- "$cur")
    return
  fi
  if [[ $prev == --file || ($sub == diff && $cur != -*) ]]; then
    _filedir
    return
  fi

  local edits="set add delete sort renumber protect reveal" choices=""
  case $command in
    "") choices="board psu battery outputs budget state alarms charge capacity sensors watch snmp gpio get cfg doctor --help --version" ;;
    board | doctor | outputs | budget | state | capacity) choices=$common ;;
    sensors) choices="--format $common" ;;
    snmp)
      choices=$common
      [[ -n $sub ]] || choices="dump --help"
      ;;
    watch) choices="--period --count --help" ;;
    alarms)
      choices="set $common"
      case $sub:$given in
        set:0) choices="$(kvrnctl alarms --json 2>/dev/null |
          awk -F'"' '$2 == "id" { id = $4 } $2 == "settable" && $3 ~ /true/ { print id }') --dry-run $common" ;;
        set:*) choices="0 1 --dry-run $common" ;;
      esac
      ;;
    charge)
      case $sub:$given in
        :*) choices="show current enable --help" ;;
        current:0) choices="$(kvrnctl charge show --psu "$psu" --json 2>/dev/null | sed -n 's/.*"current_ma": \([0-9]*\).*/\1/p') --psu --dry-run $common" ;;
        enable:0) choices="on off --psu --dry-run $common" ;;
        show:*) choices="--psu $common" ;;
        *) choices="--psu --dry-run $common" ;;
      esac
      ;;
    psu | battery)
      choices="--source $common"
      ((given)) || choices+=" $(_kvrnctl_psus "${command/psu/}")"
      ;;
    gpio)
      case $sub:$given in
        :*) choices="get set list --help" ;;
        list:*) choices=$common ;;
        get:0) choices="$(_kvrnctl_lines) --as-input $common" ;;
        get:*) choices="--as-input $common" ;;
        set:0) choices="$(_kvrnctl_lines) --dry-run --force $common" ;;
        set:*) choices="0 1 --dry-run --force $common" ;;
      esac
      ;;
    cfg)
      case $sub in
        "") choices="show get diff interface check $edits --help" ;;
        get) choices="--type --default --file --reveal $common" ;;
        show | diff | interface | check) choices="--file --reveal $common" ;;
        delete) choices="--prefix --file --reveal --dry-run --backup --force $common" ;;
        *) choices="--file --reveal --dry-run --backup --force $common" ;;
      esac
      if [[ ($sub == get || $sub == set || $sub == delete) && $cur != -* ]]; then
        # Not through compgen -W, which expands its words: keys come from a file that others may write.
        mapfile -t COMPREPLY < <(kvrnctl cfg show 2>/dev/null | sed 's/=.*//' | grep -xE '[A-Za-z0-9._-]+' |
          awk -v typed="$cur" 'index($0, typed) == 1')
        return
      fi
      ;;
    get)
      choices=$common
      if [[ $cur != -* && $prev == get ]]; then
        choices=$(_kvrnctl_paths "$cur")
        compopt -o nospace
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
  __ltrim_colon_completions "$cur"
} && complete -F _kvrnctl kvrnctl

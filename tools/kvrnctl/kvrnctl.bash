# bash completion for kvrnctl                                     -*- shell-script -*-

_kvrnctl_paths() {
  # Paths of values, as far as they are typed: the program itself knows them.
  local typed=$1 parent=${1%.*}
  [[ $typed == *.* ]] || {
    printf '%s\n' board psu battery
    return
  }
  kvrnctl get "$parent" 2>/dev/null | sed -n "s/^\(${parent//./\\.}\.[^.=]*\).*/\1/p" | sort -u
}

_kvrnctl() {
  local cur prev words cword
  _init_completion -s -n : || return

  local common="--json --verbose --help" command="" sub="" i
  for ((i = 1; i < cword; i++)); do
    [[ ${words[i]} == -* ]] && continue
    if [[ -z $command ]]; then
      command=${words[i]}
    elif [[ ($command == gpio || $command == cfg || $command == charge || $command == alarms || $command == snmp) && -z $sub ]]; then
      sub=${words[i]}
    fi
  done

  if [[ $prev == --source ]]; then
    mapfile -t COMPREPLY < <(compgen -W "auto cache direct" -- "$cur")
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
      [[ $sub != set ]] || choices="$(kvrnctl alarms 2>/dev/null | sed -n 's/^\([a-z-]*[.0-9]*\) .*/\1/p') --dry-run $common"
      ;;
    charge)
      case $sub in
        "") choices="show current enable --help" ;;
        current) choices="$(kvrnctl charge show --json 2>/dev/null | sed -n 's/.*"current_ma": //p') --psu --dry-run $common" ;;
        enable) choices="on off --psu --dry-run $common" ;;
        *) choices="--psu $common" ;;
      esac
      ;;
    psu | battery) choices="0 1 2 3 --source $common" ;;
    gpio)
      case $sub in
        "") choices="get set --help" ;;
        get) choices="--as-input $common" ;;
        set) choices="0 1 --dry-run $common" ;;
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
} && complete -F _kvrnctl kvrnctl

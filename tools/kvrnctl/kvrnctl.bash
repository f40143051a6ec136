# bash completion for kvrnctl                                     -*- shell-script -*-

_kvrnctl_paths() {
  # The paths of values that continue the typed text. The program itself lists them.
  local typed=$1 parent=${1%.*}
  [[ $typed == *.* ]] || {
    kvrnctl get 2>/dev/null
    return
  }
  kvrnctl get "$parent" 2>/dev/null | sed -n "s/^\(${parent//./\\.}\.[^.=]*\).*/\1/p" | sort -u
}

# The numbers of all sources ("psu"), or only of the batteries ("battery").
_kvrnctl_psus() {
  kvrnctl get "$1" 2>/dev/null | sed -n "s/^$1\.\([0-9]\)\.id=.*/\1/p"
}

# The flags that may be set.
_kvrnctl_flags() {
  kvrnctl alarms --json 2>/dev/null | awk -F'"' '$2 == "name" { id = $4 } $2 == "settable" && $3 ~ /true/ { print id }'
}

# What a check can leave out.
_kvrnctl_subjects() {
  kvrnctl get psu 2>/dev/null | sed -n 's/^\(psu\.[0-9]\)\.id=.*/\1/p'
  kvrnctl get outputs 2>/dev/null | sed -n 's/^\(outputs\.[0-9]\)\.id=.*/\1/p'
  kvrnctl get alarms 2>/dev/null | sed -n 's/^alarms\.\(.*\)\.name=.*/\1/p'
  echo state
}

# The lines, by number and by CHIP:NAME. With "set", only the lines that may be driven without --force.
_kvrnctl_lines() {
  kvrnctl gpio list --json 2>/dev/null | awk -F'"' -v set="$1" '
    $2 == "line" { id = $3; gsub(/[^0-9]/, "", id); name = ""; skip = 0 }
    $2 == "name" { name = $4 }
    $2 == "board_input" && $3 ~ /true/ { skip = set == "set" }
    /^    }/ && !skip { print id; if (name != "") print int(id / 100) ":" name }'
}

_kvrnctl() {
  local cur prev words cword
  _init_completion -s -n : || return

  # `given` counts the words after the command that are not options.
  local common="--json --verbose --help" command="" sub="" given=0 battery=2 help="" i
  for ((i = 1; i < cword; i++)); do
    [[ ${words[i]} == -* ]] && continue
    if [[ -z $command && ${words[i]} == help ]]; then
      help=1
      continue
    fi
    if [[ ${words[i - 1]} == --psu ]]; then
      battery=${words[i]}
      continue
    fi
    [[ ${words[i - 1]} != --@(source|period|count|every|format|output|ignore|type|file|default) ]] || continue
    [[ -z $command ]] || ((++given))
    if [[ -z $command ]]; then
      command=${words[i]}
    elif [[ ($command == gpio || $command == cfg || $command == charge || $command == alarms || $command == snmp) && -z $sub ]]; then
      sub=${words[i]}
    fi
  done

  # "help" takes only the names of commands.
  if [[ -n $help && -n $command && ($command != @(gpio|cfg|charge|alarms|snmp) || -n $sub) ]]; then
    return
  fi

  if [[ $prev == --source ]]; then
    mapfile -t COMPREPLY < <(compgen -W "auto cache direct" -- "$cur")
    return
  fi

  if [[ $prev == --psu ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_kvrnctl_psus battery)" -- "$cur")
    return
  fi
  if [[ $prev == --@(period|count|every) ]]; then
    return
  fi
  if [[ $prev == --ignore ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_kvrnctl_subjects)" -- "$cur")
    return
  fi

  if [[ $prev == --format ]]; then
    mapfile -t COMPREPLY < <(compgen -W "text prometheus nut" -- "$cur")
    return
  fi
  if [[ $prev == --type ]]; then
    mapfile -t COMPREPLY < <(compgen -W "str bool int uint int64" -- "$cur")
    return
  fi
  if [[ $prev == --@(file|output) || ($sub == diff && $cur != -*) ]]; then
    _filedir
    return
  fi

  local edits="set add delete sort renumber protect reveal" choices=""
  case $command in
    "") choices="board psu battery outputs budget state alarms charge capacity sensors watch events snmp gpio get cfg doctor help $common --version" ;;
    board | doctor | outputs | budget | state | capacity) choices=$common ;;
    sensors) choices="--format --output --every $common" ;;
    events) choices="--every $common" ;;
    snmp)
      choices=$common
      [[ -n $sub ]] || choices="dump --help"
      ;;
    watch) choices="--period --count --help" ;;
    alarms)
      choices="set --check --ignore $common"
      [[ $sub != set ]] || choices="--dry-run $common"
      [[ $sub != set || $given != 1 ]] || choices+=" $(_kvrnctl_flags)"
      ;;
    charge)
      case $sub in
        "") choices="show current enable --help" ;;
        current)
          choices="--psu --dry-run $common"
          [[ $given != 1 ]] || choices+=" $(kvrnctl charge show --psu "$battery" --json 2>/dev/null |
            sed -n 's/.*"current_ma": \([0-9]*\).*/\1/p')"
          ;;
        enable)
          choices="--psu --dry-run $common"
          [[ $given != 1 ]] || choices+=" on off"
          ;;
        *) choices="--psu $common" ;;
      esac
      ;;
    psu | battery)
      choices="--source $common"
      [[ $given != 0 ]] || choices+=" $(_kvrnctl_psus "$command")"
      ;;
    gpio)
      case $sub in
        "") choices="get set list --help" ;;
        get) choices="--as-input $common" ;;
        set) choices="--dry-run --force $common" ;;
        list) choices=$common ;;
      esac
      if [[ $given == 1 && $sub != list && $cur != -* ]]; then
        [[ " ${words[*]} " != *" --force "* ]] || sub=force
        choices=$(_kvrnctl_lines "$sub")
        mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
        __ltrim_colon_completions "$cur"
        return
      fi
      [[ $sub != set || $given != 2 ]] || choices+=" 0 1"
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
        # Not compgen -W, because it expands its words, and the keys come from a file that others may write.
        mapfile -t COMPREPLY < <(kvrnctl cfg show 2>/dev/null | sed 's/=.*//' | grep -xE '[A-Za-z0-9._-]+' |
          awk -v typed="$cur" 'index($0, typed) == 1')
        return
      fi
      ;;
    get)
      choices=$common
      if [[ $cur != -* && $given == 0 ]]; then
        choices=$(_kvrnctl_paths "$cur")
        compopt -o nospace
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
} && complete -F _kvrnctl kvrnctl

# bash completion for kvrn-sim                                    -*- shell-script -*-

_kvrn_sim_paths() {
  # The paths of the device's files that begin with the typed text.
  local root=$1 typed=$2 path
  [[ $typed == /* ]] || typed=/
  compopt -o nospace 2>/dev/null
  compgen -f -- "$root$typed" | while read -r path; do
    [[ ! -d $path ]] || path+=/
    printf '%s\n' "${path#"$root"}"
  done
}

_kvrn_sim() {
  local cur prev words cword
  _init_completion || return

  # The words before the cursor, without options: the verb, the folder, and what to set.
  local typed=() i
  for ((i = 1; i < cword; i++)); do
    [[ ${words[i]} == -* ]] || typed+=("${words[i]}")
    if [[ ${typed[0]-} == run && ${words[i]} == -- ]]; then
      _command_offset $((i + 1))
      return
    fi
  done
  local verb=${typed[0]-} root=${typed[1]-} kind=${typed[2]-} choices=""

  if [[ $prev == --board ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(kvrn-sim profiles 2>/dev/null)" -- "$cur")
    return
  fi
  if [[ -n $verb && -z $root && $cur != -* ]]; then
    case $verb in
      help) mapfile -t COMPREPLY < <(compgen -W "new set unset get trace run profiles" -- "$cur") ;;
      profiles) ;;
      *) _filedir -d ;;
    esac
    return
  fi
  if [[ ($verb == unset && ${#typed[@]} == 2 || $kind == file && ${#typed[@]} == 3) && $cur != -* ]]; then
    mapfile -t COMPREPLY < <(_kvrn_sim_paths "${root%/}" "$cur")
    return
  fi

  case $verb:$kind:${#typed[@]} in
    ::0) choices="new set unset get trace run profiles help --help --version" ;;
    new:*) choices="--board --help" ;;
    trace::2) choices="on off clear show" ;;
    run:*) choices="--" ;;
    set::2 | get::2) choices="gpio i2c hwmon file" ;;
    ?et:gpio:3) choices=$(cut -d' ' -f3 "$root"/gpio/* 2>/dev/null) ;;
    set:gpio:4) choices="0 1 busy free" ;;
    ?et:i2c:3) choices=$(cd "$root/i2c" 2>/dev/null && printf '%s\n' *-* | sed 's/\.absent$//') ;;
    ?et:i2c:4)
      choices=$(cd "$root/i2c/${typed[3]}" 2>/dev/null && printf '%s\n' block-* ?? | sed 's/^..$/0x&/')
      if [[ $verb == set ]]; then
        [[ ${typed[3]} == *-* ]] && choices+=" absent present" || choices="busy free"
      fi
      ;;
    set:i2c:5) [[ ${typed[4]} == @(absent|present|busy|free) ]] || choices="refuse" ;;
    ?et:hwmon:3) choices=$(cd "$root/var/run/hwmon" 2>/dev/null && printf '%s\n' *) ;;
    ?et:hwmon:4) choices=$(cd "$root/var/run/hwmon/${typed[3]}" 2>/dev/null && printf '%s\n' *) ;;
  esac
  [[ $verb != set || $cur != -* ]] || choices="--new --help"
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
} && complete -F _kvrn_sim kvrn-sim

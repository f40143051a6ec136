# bash completion for kvrn-monitord                               -*- shell-script -*-

_kvrn_monitord() {
  # shellcheck disable=SC2034
  local cur prev words cword
  _init_completion -s || return
  case $prev in
    --pid-file) _filedir ;;
    --period) ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--period --once --background --pid-file --stderr -h --help -V --version" -- "$cur") ;;
  esac
} && complete -F _kvrn_monitord kvrn-monitord

# bash completion for kvrn-agentd                                 -*- shell-script -*-

_kvrn_agentd() {
  # shellcheck disable=SC2034
  local cur prev words cword
  _init_completion -s || return
  case $prev in
    --agentx-socket | --module) _filedir ;;
    --state) _filedir -d ;;
    --period | --max-age | --notifications) ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--period --max-age --agentx-socket --module --notifications --state --stderr --help --version" -- "$cur") ;;
  esac
} && complete -F _kvrn_agentd kvrn-agentd

# bash completion for kvrn-agentd                                 -*- shell-script -*-

_kvrn_agentd() {
  # shellcheck disable=SC2034
  local cur prev words cword
  _init_completion -s || return
  case $prev in
    --agentx-socket | --config | --module) _filedir ;;
    --state) _filedir -d ;;
    --user) mapfile -t COMPREPLY < <(compgen -u -- "$cur") ;;
    --period | --max-age | --listen | --notifications) ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--period --max-age --agentx-socket --listen --config --state --user --module --notifications --stderr --help --version" -- "$cur") ;;
  esac
} && complete -F _kvrn_agentd kvrn-agentd

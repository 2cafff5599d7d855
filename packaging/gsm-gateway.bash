# bash completion for gsm-gateway: its commands, and behind a command its options and the words that it takes.
_gsm_gateway() {
  local commands='run check send list show resolve cancel status token' command='' i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ " $commands " == *" ${COMP_WORDS[i]} "* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  local words=''
  case "$3:$command" in
    --config:*) ;;
    --state:*) words='queued attempting sent failed uncertain expired cancelled' ;;
    --priority:*) words='alarm normal bulk' ;;
    --on-uncertain:*) words='hold resend' ;;
    *:) words="$commands --config --help" ;;
    *:run) words='--verbose' ;;
    *:send) words='--id --priority --expires --on-uncertain --wait' ;;
    *:list) words='--state --json' ;;
    *:show | *:status) words='--json' ;;
    *:resolve) words='sent resend drop' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$2")
}
complete -o default -F _gsm_gateway gsm-gateway

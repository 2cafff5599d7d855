# bash completion for gsm-host and gsm-modem-simulator: the commands and options that their --help lists; file names
# where an option takes a value, and behind a command.
_gsm_program() {
  local help commands command='' i
  help=$("$1" --help 2>/dev/null)
  commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if grep -qx -- "${COMP_WORDS[i]}" <<<"$commands"; then
      command=${COMP_WORDS[i]}
    fi
  done
  if [[ -n $command ]]; then
    help+=$'\n'$("$1" "$command" --help 2>/dev/null)
    commands=
  fi
  if [[ $3 == -* ]] && grep -qE -- "^ +(-[a-z],)?$3 [A-Z[]" <<<"$help"; then
    commands=
  fi
  local words=$commands
  if [[ $2 == -* ]]; then
    words=$(grep -oE '^ +-[-a-zA-Z,]+' <<<"$help" | tr ', ' '\n')
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$2")
}
complete -o default -F _gsm_program gsm-host gsm-modem-simulator

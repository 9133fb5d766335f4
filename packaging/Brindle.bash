# bash completion for Brindle(8): a command, its file type or value, and a path.

_Brindle() {
  local current=${COMP_WORDS[COMP_CWORD]} choices='' i
  local words=("${COMP_WORDS[0]}")  # before the current one, without redirections
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == [\<\>\&]* ]]; then
      # The file after the operator belongs to it, and so does a descriptor's number right before it.
      [[ $COMP_LINE != *" ${words[-1]}${COMP_WORDS[i]}"* ]] || unset 'words[-1]'
      ((++i))
    else
      words+=("${COMP_WORDS[i]}")
    fi
  done
  if ((i > COMP_CWORD)) || [[ $current == [\$\<\>\&]* ]]; then
    compopt -o bashdefault -o default
    return
  fi
  local command=${words[1]-}
  case ${command^^}:${#words[@]} in
    :1)
      current=${current^^}
      choices='/R /W /V /RA /WA /VA /E /BS /DS /RBI'
      ;;
    /[RWV]:2) choices='1 2 3' ;;
    /[RWV]:3 | /[RWV]A:2 | /RBI:2) compopt -o bashdefault -o default ;;  # without choices: bash's own completion
    /BS:3) choices='Goldcrest Baseboard-default' ;;
    /DS:2) choices='1 0' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}

complete -F _Brindle Brindle

# bash completion for Brindle(8): a command, its file type or value, and a path.

_Brindle() {
  local current=${COMP_WORDS[COMP_CWORD]} choices='' command
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    current=${current^^}
    choices='/R /W /V /RA /WA /VA /E /BS /DS /RBI'
  else
    command=${COMP_WORDS[1]^^}
    case $command:$COMP_CWORD in
      /[RWV]:2) choices='1 2 3' ;;
      /[RWV]:3 | /[RWV]A:2 | /RBI:2) compopt -o default ;;  # no words of its own: readline's file names
      /BS:3) choices='Goldcrest Baseboard-default' ;;
      /DS:2) choices='1 0' ;;
    esac
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}

complete -F _Brindle Brindle

# bash completion for brindlectl(8): commands and options as the program itself lists them, types, switches, paths.

_brindlectl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word operands=0 choices=''
  COMPREPLY=()
  if [[ $previous == [\<\>\&]* || $current == [\$\<\>\&]* ]]; then # redirections and variables
    compopt -o bashdefault -o default
    return
  fi
  # The shell takes --option=value apart into three words.
  [ "$current" != = ] || current=''
  [ "$previous" != = ] || previous=${COMP_WORDS[COMP_CWORD - 2]}
  for word in "${COMP_WORDS[@]:2:COMP_CWORD-2}"; do [[ $word == -?* ]] || operands=$((operands + 1)); done
  if [ "$COMP_CWORD" -eq 1 ]; then
    choices="--help --version $("${COMP_WORDS[0]}" --help 2>/dev/null | sed -n 's/^  \([a-z]\+\) .*/\1/p')"
  elif [[ $current == -?* ]]; then
    choices=$("${COMP_WORDS[0]}" "${COMP_WORDS[1]}" --help 2>/dev/null | sed -n 's/^  \(--[a-z-]*\).*/\1/p')
  elif [ "$previous" = --file ]; then
    choices='1= 2= 3= peripheral= upgrade= board='
    compopt -o nospace
  elif [ "$previous" = --developer ]; then
    choices='on off'
  elif [ "${COMP_WORDS[1]}:$operands" = extract:1 ]; then
    choices='1 2 3 peripheral upgrade board'
  else
    compopt -o default # no words: readline's file names
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}

complete -F _brindlectl brindlectl

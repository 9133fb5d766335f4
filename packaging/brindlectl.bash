# bash completion for brindlectl(8): commands and options as the program itself lists them, types, switches, paths.

_brindlectl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous='' words=() word operands=0 choices=''
  COMPREPLY=()
  for word in "${COMP_WORDS[@]::COMP_CWORD}"; do
    if [[ $previous == [\<\>\&]* ]]; then # the file of a redirection
      word=''
    elif [[ $word != [\<\>\&]* ]]; then
      words+=("$word")
    elif [[ $COMP_LINE == *" ${words[-1]}$word"* ]]; then # the descriptor of a redirection
      unset 'words[-1]'
    fi
    previous=$word
  done
  if [[ $previous == [\<\>\&]* || $current == [\$\<\>\&]* ]]; then # redirections and variables
    compopt -o bashdefault -o default
    return
  fi
  # The shell takes --option=value apart into three words.
  previous=${words[-1]}
  [ "$current" != = ] || current=''
  [ "$previous" != = ] || previous=${words[-2]}
  for word in "${words[@]:2}"; do [[ $word == -?* ]] || operands=$((operands + 1)); done
  if ((${#words[@]} == 1)); then
    choices="--help --version $("${words[0]}" --help 2>/dev/null | sed -n 's/^  \([a-z]\+\) .*/\1/p')"
  elif [[ $current == -?* ]]; then
    choices=$("${words[0]}" "${words[1]}" --help 2>/dev/null | sed -n 's/^  \(--[a-z-]*\).*/\1/p')
  elif [ "$previous" = --file ]; then
    choices='1= 2= 3= peripheral= upgrade= board='
    compopt -o nospace
  elif [ "$previous" = --developer ]; then
    choices='on off'
  elif [ "${words[1]}:$operands" = extract:1 ]; then
    choices='1 2 3 peripheral upgrade board'
  else
    compopt -o default # no words: readline's file names
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}

complete -F _brindlectl brindlectl

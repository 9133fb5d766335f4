# bash completion for brindlectl(8): commands, options and what they take, as the program's own help lists them.

# The chips that can be named: the adapters' nodes, and the files that a kernel driver makes.
_brindlectl_chips() {
  local chip
  echo board
  for chip in /dev/i2c-* /sys/bus/i2c/devices/*/eeprom; do
    [ ! -e "$chip" ] || echo "$chip"
  done
}

_brindlectl_commands() {
  "${COMP_WORDS[0]}" --help 2>/dev/null | sed -n 's/^  \([a-z]\+\) .*/\1/p'
}

# Offers what the help calls KIND, an operand or the value of an option. VALUE is what is typed of it.
_brindlectl_offer() { # KIND VALUE
  local choices=''
  case ${1%...} in
    SOURCE | CHIP)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -W "$(_brindlectl_chips)" -- "$2"; compgen -f -- "$2")
      ;;
    COMMAND) choices=$(_brindlectl_commands) ;;
    PATH | IMAGE) compopt -o default ;; # no words: readline's file names
    DIR) compopt -o dirnames ;;
    TYPE) choices='1 2 3 peripheral upgrade board' ;;
    TYPE=PATH)
      if [[ $2 == *=* ]]; then
        _brindlectl_offer PATH "${2#*=}"
      else
        choices='1= 2= 3= peripheral= upgrade= board='
        compopt -o nospace
      fi
      ;;
    *'|'*) choices=${1//|/ } ;;
  esac
  [ -z "$choices" ] || mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$2")
}

# Sets `kind` to what `help` calls the value of an option, or to nothing.
_brindlectl_kind() { # OPTION
  kind=''
  [[ ! $help =~ "  $1="([^ ]+) ]] || kind=${BASH_REMATCH[1]}
}

_brindlectl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous='' words=("${COMP_WORDS[0]}") word
  COMPREPLY=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $previous == [\<\>\&]* ]]; then # the file of a redirection
      word=''
    elif [[ $word == [=@] || ${words[-1]} == *[=@] ]]; then # the shell takes words apart at these
      words[-1]+=$word
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
  if ((${#words[@]} == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "--help --version $(_brindlectl_commands)" -- "$current")
    return
  fi

  local help kind='' operands operand=0
  help=$("${words[0]}" "${words[1]}" --help 2>/dev/null)
  read -ra operands < <(sed -n '1s/.*\[OPTION\.\.\.\]//p' <<<"$help" | tr -d '[]')
  if [[ $current == [=@] || ${words[-1]} == *[=@] ]]; then
    current=${words[-1]}$current
    unset 'words[-1]'
  fi
  for word in "${words[@]:2}"; do
    if [ -n "$kind" ]; then # the value of the option before
      kind=''
    elif [[ $word == -?* ]]; then
      _brindlectl_kind "$word"
    elif [[ ${operands[operand]-} != *... ]]; then
      operand=$((operand + 1))
    fi
  done
  if [ -n "$kind" ]; then
    _brindlectl_offer "$kind" "$current"
  elif [[ $current == --*=* ]]; then
    _brindlectl_kind "${current%%=*}"
    _brindlectl_offer "$kind" "${current#*=}"
  elif [[ $current == -?* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(sed -n 's/^  \(--[a-z-]*\).*/\1/p' <<<"$help")" -- "$current")
  else
    _brindlectl_offer "${operands[operand]-}" "$current"
  fi
}

complete -F _brindlectl brindlectl

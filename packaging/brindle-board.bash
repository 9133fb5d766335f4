# bash completion for brindle-board(1): its options, the image, and a command line after "--".

_brindle_board() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} choices='' i
  local options='--address --kind --second --write-cycle --refusal --clock --adapter --max-write --claim --fault --trace --help --version'
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    [ "${COMP_WORDS[i]}" = -- ] || continue
    if declare -F _command_offset >/dev/null; then  # from the package bash-completion
      _command_offset $((i + 1))
    else
      compopt -o bashdefault -o default
    fi
    return
  done
  case $previous:$current in
    [\<\>\&]* | *:[\$\<\>\&]*) compopt -o bashdefault -o default ;;  # redirections and variables
    --kind:*) choices='24c256 24c16' ;;
    --adapter:*) choices='i2c smbus' ;;
    --refusal:*) choices='ENXIO EREMOTEIO' ;;
    --fault:*)
      compopt -o nospace
      choices='refuse: refuse-late: short: flip: drop: stuck: foreign: power-nothing: power-first: power-groups: power-anything:'
      ;;
    --address:* | --write-cycle:* | --clock:* | --max-write:* | --claim:*) ;;
    *:-*) choices="$options --" ;;
    *) compopt -o bashdefault -o default ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}

complete -F _brindle_board brindle-board

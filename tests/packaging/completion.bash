# What a completion offers, for tests.

unset -f complete  # the checks' own: a completion registers itself with the builtin

# offered FUNCTION WORD...: what the completion function offers for the last word; "a path" when it leaves that to
# the names of files.
offered() {
  local function=$1 path=''
  shift
  COMP_WORDS=(command "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  "$function"
  [ -z "$path" ] || COMPREPLY+=("a path")
  echo "${COMPREPLY[*]}"
}

compopt() { # In the place of the builtin, which works only while the shell completes.
  [ "$2" = nospace ] || path=$2
}

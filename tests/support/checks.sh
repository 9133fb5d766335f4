# shellcheck shell=sh
# Functions that run programs and check what they did, for the scripts of the tests and for the demo. POSIX, so that
# busybox can read them too. A script goes on after a failed check and ends with `summary`, but a check in a subshell or
# a pipeline is not counted.

PATH=$PATH:/usr/sbin:/sbin # Debian has i2c-tools and chroot there, outside a user's PATH
passed=0
failed=0
seed=0
competitors=

pass() { passed=$((passed + 1)) && echo "ok      $*"; }
fail() { failed=$((failed + 1)) && echo "FAILED  $*"; }

summary() {
  echo "$passed passed, $failed failed"
  [ "$failed" -eq 0 ]
}

# Runs COMMAND: its exit code is in $code, its output and its error messages are in $output.
run() { # COMMAND...
  code=0
  output=$("$@" 2>&1) || code=$?
}

# COMMAND ends with CODE. Its output is in $output.
expect() { # CODE COMMAND...
  wanted=$1
  shift
  run "$@"
  if [ "$code" -eq "$wanted" ]; then pass "$*"; else fail "$*: ended with $code, not $wanted: $output"; fi
}

# The last command printed something that matches this pattern of the shell, also across lines.
says() { # PATTERN
  # shellcheck disable=SC2254
  case $output in
    *$1*) pass "printed $1" ;;
    *) fail "printed '$output', not '$1'" ;;
  esac
}

# CONDITION succeeds, as a command.
check() { # TITLE CONDITION...
  title=$1
  shift
  if "$@"; then pass "$title"; else fail "$title: $*"; fi
}

equal() { check "$1" [ "$2" = "$3" ]; } # TITLE FOUND WANTED
same() { check "$1 equals $2" cmp -s "$1" "$2"; } # FILE FILE

# Waits until CONDITION, a command, succeeds: for a minute at least.
await() { # CONDITION...
  attempts=2000
  until "$@"; do
    attempts=$((attempts - 1))
    [ $attempts -gt 0 ] || { fail "waited in vain for: $*"; return 0; }
    sleep 0.03
  done
}

# Starts COMMAND beside others, and repeats it whenever it ends because it got no turn for 30 seconds.
compete() { # COMMAND...
  until "$@" >/dev/null; do [ $? -eq 19 ] || exit 1; done &
  competitors="$competitors $!"
}

all_succeed() {
  for competitor in $competitors; do check "one of the runs at once succeeds" wait "$competitor"; done
}

# The process holds the board or waits for it. From then on Brindle holds signals back, except where it opens a window.
at_board() { # PROCESS
  readlink "/proc/$1/fd/"* 2>/dev/null | grep -q '^/sys/bus/i2c/devices$'
}

# A process, $!, holds the board until it is killed.
hold_board() {
  flock --no-fork /sys/bus/i2c/devices sleep 1000 &
  await grep -qs sleep "/proc/$!/comm" # which flock becomes when it has the lock
}

# Brindle ends with CODE and prints the line for it, and nothing else.
brindle() { # CODE ARGUMENT...
  wanted=$1
  shift
  case $wanted in
    0) line='EEPROM read/write complete.' ;;
    5) line='EEPROM read/write failed.' ;;
    19) line='EEPROM not accessible' ;;
  esac
  run Brindle "$@"
  equal "Brindle $*" "$code: $output" "$wanted: $line"
}

# Brindle ends with 22 and prints TEXT and the usage text.
refuses() { # TEXT ARGUMENT...
  text=$1
  shift
  run Brindle "$@"
  equal "Brindle $*" "$code: $(echo "$output" | sed '/^$/d')" "22: $(Brindle | sed "1s|.*|$text|; /^\$/d")"
}

# COMMAND, a run of doctor, names CAUSE and says what to do, which is then done.
take_advice() { # CAUSE COMMAND...
  cause=$1
  shift
  expect 1 "$@"
  says "cause: $cause"
  advice=$(echo "$output" | sed -n 's/^  do: //p')
  check "$advice" eval "$advice"
}

# Runs the first command line that the last command quoted.
follow_advice() {
  advice=$(echo "$output" | grep -o '"brindlectl [^"]*"' | head -n 1 | tr -d '"')
  check "${advice:-an advice}" eval "${advice:-false}"
}

# The EEPROM, whose memory is in the file $IMAGE, holds these bytes.
holds() { # ADDRESS DIGITS
  digits=$(echo "$2" | tr -d ' ')
  equal "EEPROM at $1" "$(hex "$IMAGE" "$1" $((${#digits} / 2)))" "$digits"
}

# COUNT bytes of text, which differ from call to call but not from run to run.
bytes() { # COUNT
  seed=$((seed + 1))
  seq $((seed * 1000)) 7 99999999 | head -c "$1"
}

# Bytes of a file as hexadecimal digits.
hex() { # FILE [ADDRESS COUNT]
  od -An -v -tx1 ${2:+-j "$(($2))" -N "$3"} "$1" | tr -d ' \n'
}

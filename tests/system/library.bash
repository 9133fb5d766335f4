# Checks for the system tests: each prints its line, summary tells at the end whether one failed.

checks=0
failures=0

# check DESCRIPTION COMMAND...: whether COMMAND succeeds.
check() {
  local description=$1
  shift
  checks=$((checks + 1))
  if "$@"; then
    echo "ok      $description"
  else
    failures=$((failures + 1))
    echo "FAILED  $description"
  fi
}

# brindle CODE LINE ARGUMENT...: whether Brindle ends with CODE and prints LINE first.
brindle() {
  local wanted=$1 line=$2 code=0
  shift 2
  Brindle "$@" >output.txt || code=$?
  check "Brindle $* ends with $wanted and says '$line'" ended_with "$wanted" "$line" "$code"
}

ended_with() {
  local first
  IFS= read -r first <output.txt || true
  [ "$3" -eq "$1" ] && [ "$first" = "$2" ] && return
  echo "        ended with $3, said '$first'"
  return 1
}

complete() { brindle 0 "EEPROM read/write complete." "$@"; }
failed() { brindle 5 "EEPROM read/write failed." "$@"; }
not_accessible() { brindle 19 "EEPROM not accessible" "$@"; }

# holds ADDRESS HEX: whether the EEPROM holds these bytes there.
holds() {
  local digits=${2// /} found
  found=$(od -An -v -tx1 -j "$(($1))" -N $((${#digits} / 2)) "$IMAGE" | tr -d ' \n')
  [ "$found" = "$digits" ] && return
  echo "        at $1: $found"
  return 1
}

same() { cmp -s "$1" "$2"; }
absent() { [ ! -e "$1" ]; }
equal() {
  [ "$1" = "$2" ] && return
  echo "        '$1' is not '$2'"
  return 1
}

# bytes COUNT: as many bytes, different for every call but the same in every run.
seed=0
bytes() {
  seed=$((seed + 1))
  awk -v seed="$seed" -v count="$1" 'BEGIN { srand(seed); for (i = 0; i < count; ++i) printf "%c", 1 + int(rand() * 126) }'
}

fill() { # fill COUNT CHARACTER: as many times the character with this octal number.
  head -c "$1" /dev/zero | tr '\0' "\\$2"
}

summary() {
  echo "$checks checks, $failures failed"
  [ "$failures" -eq 0 ]
}

# Whatever becomes of standard output, the operation and its exit code stay the same.

bytes 1000 >content
code() {
  local code=0
  "$@" || code=$?
  echo "$code" >code.txt
}
ended() { check "$1: exit code $2" equal "$(cat code.txt)" "$2"; }

code Brindle /W 1 content >&-
ended "standard output closed" 0
code Brindle /W 2 content <&- >&- 2>&-
ended "all standard descriptors closed" 0
code Brindle /W 3 content >/dev/full
ended "standard output full" 0
for number in 1 2 3; do complete /V "$number" content; done
cp "$IMAGE" before
code Brindle /V 3 /dev/null >&-
ended "a failure with standard output closed" 5
code Brindle >/dev/full
ended "an argument error with standard output full" 22
check "no result line reached the EEPROM" same before "$IMAGE"

bytes 2000 >longer
set +o pipefail
{ code Brindle /W 1 longer; } | true
set -o pipefail
ended "a broken pipe" 0
complete /V 1 longer
complete /V 2 content

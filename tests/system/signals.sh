# A signal at any moment: no file is lost, and the run says how it ended.

# Brindle in the background; a shell would have it ignore some signals.
start() { # ARGUMENT...
  : >line
  env --default-signal=INT,QUIT,TERM,HUP Brindle "$@" >line &
}

# Sends the signal to the run that was started, waits for its end, and keeps how it ended in $ended.
interrupt() { # SIGNAL
  kill -s "$1" $! 2>/dev/null || true
  ended=0
  wait $! || ended=$?
  ended="$ended $(cat line)"
}
complete='EEPROM read/write complete.'

bytes 400 >small
bytes 900 >big
bytes 300 >upgrade
bytes 200 >board
brindle 0 /W 1 small
brindle 0 /W 2 upgrade
brindle 0 /W 3 board

# A write that moves files is done when its line is out, and has not begun otherwise. $1 is stored, $2 comes next.
set -- small big
for delay in $(awk 'BEGIN { srand(4711); for (i = 0; i < 12; ++i) printf "0.%03d ", rand() * 320 }'); do
  for signal in "INT 130" "QUIT 131" "TERM 143" "HUP 129"; do
    start /W 1 "$2"
    sleep "$delay"
    interrupt "${signal% *}"
    case $ended in
      "${signal#* } ") ;;
      "0 $complete" | "${signal#* } $complete") set -- "$2" "$1" ;;
      *) fail "ended with '$ended' by a SIG$signal after $delay s" ;;
    esac
    brindle 0 /V 1 "$1"
    brindle 0 /V 2 upgrade
    brindle 0 /V 3 board
  done
done

# A signal during a write acts when the result is out.
changed() { ! cmp -s before "$IMAGE"; }
for command in /E "/WA image"; do
  bytes 32768 >image
  cp "$IMAGE" before
  start $command
  await changed
  interrupt TERM
  equal "a signal during $command" "$ended" "143 $complete"
  [ "$command" != /E ] || tr '\0-\376' '\377' <before >image
  same image "$IMAGE"
done

# While nothing is being written it acts at once; a run that held it back would wait for the pipe's other end.
mkfifo never
brindle 0 /W 1 small
for command in "/W 3" "/V 1" "/R 1" /RA /VA /RBI; do
  start $command never
  await at_board $!
  interrupt INT
  equal "a signal while $command waits for its host file" "$ended" "130 "
done
hold_board
holder=$!
start /E
await at_board $!
interrupt HUP
equal "a signal while a run waits for the board" "$ended" "129 "
kill $holder

# What was blocked when the run began stays blocked.
env --block-signal=TERM Brindle /W 3 never >line &
await at_board $!
kill -s TERM $!
timeout 60 cp board never
check "a signal that was blocked from outside stays blocked" wait $!
equal "the result" "$(cat line)" "$complete"

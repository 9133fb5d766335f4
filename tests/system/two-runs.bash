# Runs that meet on one board wait for each other.

bytes 500 >other
complete /W 1 other
for i in 0 1 2 3 4 5; do
  bytes 700 >"content$i"
  complete /W 3 "content$i"
  cp "$IMAGE" "state$i"
done
complete /W 3 content0

in_parallel() {
  local jobs=() code=0
  for i in 1 2 3 4 5; do
    Brindle /W 3 "content$i" >/dev/null &
    jobs+=($!)
    Brindle /RA "dump$i" >/dev/null &
    jobs+=($!)
  done
  for job in "${jobs[@]}"; do wait "$job" || code=1; done
  return "$code"
}

is_a_state() {
  for i in 0 1 2 3 4 5; do same "$1" "state$i" && return; done
  return 1
}

check "ten runs at once succeed" in_parallel
for i in 1 2 3 4 5; do check "dump $i is a state between two commands" is_a_state "dump$i"; done
check "the EEPROM is in a state after a command" is_a_state "$IMAGE"

# The directory that the runs lock, held by somebody else.
hold() {
  flock /sys/bus/i2c/devices bash -c "touch held; sleep $1" &
  until [ -e held ]; do sleep 0.01; done
  rm held
}

hold 1
brindle 22 "FileType is incorrect. Exiting..." /R 7 path
check "argument errors do not wait" kill -0 $!
complete /V 1 other
check "a run waits for the other one" bash -c '! kill -0 "$1" 2>/dev/null' - $!
wait

# Half a minute of real time: the promise is about real time.
hold 40
started=$(date +%s)
not_accessible /V 1 other
check "a run waits for 30 seconds" [ $(($(date +%s) - started)) -ge 30 ]
check "and not for the other run's end" kill -0 $!
pkill -P $! sleep || true
wait || true

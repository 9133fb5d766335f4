# Runs that meet on one board wait for each other.

bytes 500 >other
brindle 0 /W 1 other
for i in 0 1 2 3 4 5; do
  bytes 700 >"content$i"
  brindle 0 /W 3 "content$i"
  cp "$IMAGE" "state$i"
done
brindle 0 /W 3 content0

jobs=
for i in 1 2 3 4 5; do
  Brindle /W 3 "content$i" >/dev/null &
  jobs="$jobs $!"
  Brindle /RA "dump$i" >/dev/null &
  jobs="$jobs $!"
done
for job in $jobs; do check "one of ten runs at once succeeds" wait "$job"; done

is_a_state() { # FILE
  for state in state?; do cmp -s "$1" "$state" && return; done
  return 1
}
for image in dump? "$IMAGE"; do check "$image is a state between two commands" is_a_state "$image"; done

# The directory that the runs lock is held by somebody else.
hold() { # SECONDS
  flock /sys/bus/i2c/devices sh -c "touch held; exec sleep $1" &
  until [ -e held ]; do sleep 0.01; done
  rm held
}

hold 1
refuses "FileType is incorrect. Exiting..." /R 7 path
check "argument errors do not wait" kill -0 $!
brindle 0 /V 1 other
expect 1 kill -0 $!
wait

# Half a minute of real time: the promise is about real time.
hold 40
started=$(date +%s)
brindle 19 /V 1 other
check "a run waits for 30 seconds" [ $(($(date +%s) - started)) -ge 30 ]
check "and not for the other run's end" kill -0 $!
kill $!

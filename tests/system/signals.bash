# A signal at any moment of a write that moves files: no file is lost, and the run says how it ended.

# Signals that a shell ignores for its background jobs are at their default again.
start() { env --default-signal=INT,QUIT,TERM,HUP Brindle "$@" >output.txt & }

bytes 400 >small
bytes 900 >big
bytes 300 >upgrade
bytes 200 >board
complete /W 1 small
complete /W 2 upgrade
complete /W 3 board
current=small next=big

wait_for() { # wait_for PID: its exit status in `status`.
  status=0
  wait "$1" || status=$?
}

one_signal() { # one_signal NAME NUMBER MILLISECONDS
  local result
  start /W 1 "$next"
  local run=$!
  sleep "$(printf '0.%03d' "$3")"
  kill -s "$1" "$run" 2>/dev/null || true
  wait_for "$run"
  result=$(cat output.txt)
  if [ "$result" = "EEPROM read/write complete." ]; then
    [ "$status" -eq 0 ] || [ "$status" -eq $((128 + $2)) ] || return 1
    read -r current next <<<"$next $current"
  else
    [ -z "$result" ] && [ "$status" -eq $((128 + $2)) ] || return 1
  fi
  Brindle /V 1 "$current" >/dev/null && Brindle /V 2 upgrade >/dev/null && Brindle /V 3 board >/dev/null
}

RANDOM=4711
for i in {1..12}; do
  for signal in "INT 2" "QUIT 3" "TERM 15" "HUP 1"; do
    read -r name number <<<"$signal"
    check "SIG$name in a write, round $i" one_signal "$name" "$number" $((RANDOM % 320))
  done
done

# A signal during the write acts when the result is out.
start /E
run=$!
sleep 0.5
kill -s TERM "$run"
wait_for "$run"
check "a signal ends an erase after its result" equal "$status $(cat output.txt)" \
  "143 EEPROM read/write complete."
check "the erase went on to its end" equal "$(tr -d '\377' <"$IMAGE" | wc -c)" 0

# While nothing is being written it acts at once; else these would hang.
mkfifo never
start /W 3 never
run=$!
sleep 0.3
kill -s INT "$run"
wait_for "$run"
check "a signal acts while the host file is read" equal "$status" 130
flock /sys/bus/i2c/devices sleep 3 &
sleep 0.2
start /E
run=$!
sleep 0.2
kill -s HUP "$run"
wait_for "$run"
check "a signal acts while a run waits for the board" equal "$status $(cat output.txt)" "129 "
wait

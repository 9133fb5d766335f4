# Runs that meet on one board wait for each other.

bytes 500 >other
brindle 0 /W 1 other
for i in 0 1 2 3 4 5; do
  bytes 700 >"content$i"
  brindle 0 /W 3 "content$i"
  cp "$IMAGE" "state$i"
done
brindle 0 /W 3 content0

for i in 1 2 3 4 5; do
  compete Brindle /W 3 "content$i"
  compete Brindle /RA "dump$i"
done
all_succeed

for image in dump? "$IMAGE"; do
  check "$image is a state between two commands" [ "$(find . -name 'state?' -exec cmp -s "$image" {} \; -print)" ]
done

hold_board
holder=$!
refuses "FileType is incorrect. Exiting..." /R 7 path # at once: whoever waits in vain ends with 19

# Half a minute of real time: the promise is about real time.
started=$(date +%s)
brindle 19 /V 1 other
check "a run waits for 30 seconds" [ $(($(date +%s) - started)) -ge 30 ]

Brindle /V 1 other >line &
await at_board $!
equal "a run that waits for the board" "$(cat line)" ""
kill $holder
check "a run waits until the board is free" wait $!

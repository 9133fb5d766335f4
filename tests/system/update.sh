# brindlectl's update, recover and doctor on one board: what only whole processes, folders and locks show.

mount -t tmpfs none /var/lib
journal=/var/lib/brindle/journal

bytes 12000 >upgrade # so that updates last for a second
bytes 12001 >other
brindlectl build --file 2=upgrade --revision 5 first
brindlectl build --file 2=other --revision 6 second

cp "$IMAGE" before
mkdir full readonly
mount -t tmpfs -o size=40k none full
mount -t tmpfs -o ro none readonly
for folder in full readonly missing; do
  expect 5 brindlectl update first --journal $folder
  same before "$IMAGE"
done
equal "left in the full folder" "$(ls full)" ""

expect 0 brindlectl update first --no-journal
equal "result" "$output" "updated, 189 of 512 pages written, compared"
mkdir /var/lib/brindle
same first "$IMAGE"
expect 0 brindlectl recover
equal "result of recover without a journal" "$output" ""
mount -t devpts -o ptmxmode=666 none /dev/pts # only root may open the machine's ptmx
run script -qec "brindlectl update second" </dev/null
says ' of 189 pages, 51 %, '
same second "$IMAGE"

env --default-signal=TERM brindlectl update first >result &
await [ -e $journal ]
kill -TERM $!
code=0
wait $! || code=$?
equal "exit code and result" "$code $(cut -c 1-8 result)" "143 updated,"
same first "$IMAGE"

# An update is killed as soon as CONDITION holds.
cut_off() { # CONDITION ARGUMENT...
  condition=$1
  shift
  brindlectl update "$@" &
  await eval "$condition"
  kill -KILL $!
  wait $! || true
  sleep 0.1 # the chip ends its write cycle
}

cut_off '[ -e $journal ]' second
expect 5 brindlectl update first
says "\"brindlectl recover\" finishes it"
cut_off '[ ! -e $journal ]' before --no-journal --discard
expect 1 cmp -s before "$IMAGE" # the journal went first: it would have undone the update
cut_off '[ -e $journal ]' second
take_advice "an update of board at 0x56 was cut off" brindlectl doctor
same second "$IMAGE"
take_advice "the kernel's driver at24 holds 0x52 (5-0052)" brindlectl doctor --goldcrest
brindle 0 /BS 3 Goldcrest
expect 0 brindlectl doctor --goldcrest
hold_board
expect 1 brindlectl doctor --json
equal "findings" "$(echo "$output" | jq -c '[.ok, (.findings[] | .id, (.ok and .do == null))]')" \
  '[false,"adapter",true,"node",true,"driver",true,"lock",false,"journal",true]'
take_advice "process $! (sleep) holds the board" brindlectl doctor
expect 0 brindlectl doctor

for i in 1 2 3 4 5 6 7 8 9 10; do
  bytes 40$i >"content$i"
  compete brindlectl update --file "board=content$i"
  compete Brindle /W 1 "content$i"
done
all_succeed
expect 0 brindlectl check
brindlectl extract board board last
equal "number of updates that are stored" "$(find . -name 'content*' -exec cmp -s last {} \; -print | wc -l)" 1

# brindlectl doctor: each cause that it names, and what it says to do, taken literally.

mount -t tmpfs none /var/lib
mkdir /var/lib/brindle
journal=/var/lib/brindle/journal

bytes 12000 >upgrade # so that updates last for a second
brindlectl build --file 2=upgrade --revision 5 first
expect 0 brindlectl doctor
expect 0 brindlectl update first --no-journal

# An update is killed as soon as its journal is there.
cut_off() { # ARGUMENT...
  brindlectl update "$@" 2>warning &
  await [ -e $journal ]
  kill -KILL $!
  wait $! || true
  sleep 0.1 # the chip ends its write cycle
}

finding() { echo "$output" | jq -r ".findings[] | select(.id == \"$1\") | .text"; } # ID, of the JSON in $output

bytes 12001 >other
brindlectl build --file 2=other --revision 5 second
cut_off second
cp $journal kept
hold_board
expect 1 brindlectl doctor --json
check "an update may be under way" [ "$(finding journal | cut -c 1-35)" = "an update is under way or was cut o" ]
kill $!
wait $! || true
take_advice "an update of board at 0x56 was cut off" brindlectl doctor
same second "$IMAGE"

brindlectl update first --no-journal
cp kept $journal
brindle 0 /BS 77
cp "$IMAGE" stored
expect 1 brindlectl doctor
says "cause: *something was stored since*do: brindlectl recover --dry-run"
expect 5 brindlectl recover --dry-run
says '*"brindlectl recover --discard" keeps the chip as it is'
follow_advice # --force
same second "$IMAGE"
head -c 1000 kept >$journal
take_advice "$journal: not a whole journal" brindlectl doctor
expect 0 brindlectl doctor

# The other chip, and its journal
take_advice "the kernel's driver at24 holds 0x52 (5-0052)" brindlectl doctor --goldcrest
brindle 0 /BS 3 Goldcrest
expect 0 brindlectl doctor --goldcrest
cut_off first --goldcrest
expect 5 brindlectl update first --discard
says "an update of another chip, board at 0x52, was cut off"
check "its journal is still there" [ -e $journal ]
take_advice "an update of board at 0x52 was cut off" brindlectl doctor
same first "$PWD/second.eeprom"

# Whoever holds the board is found among the processes that hold other files.
flock --no-fork other sleep 1000 &
bystander=$!
hold_board
holder=$!
flock --no-fork another sleep 1000 &
later=$!
await grep -qs sleep "/proc/$later/comm"
expect 1 brindlectl doctor --json
equal "findings" "$(echo "$output" | jq -c '[.ok, (.findings[] | .id, (.ok and .do == null))]')" \
  '[false,"adapter",true,"node",true,"driver",true,"lock",false,"journal",true]'
take_advice "process $holder (sleep) holds the board" brindlectl doctor
kill $bystander $later
expect 0 brindlectl doctor

# A node that only root and its group may open: nobody is told to join the group root.
touch node
chmod 660 node
mount --bind node /dev/i2c-5
run setpriv --reuid=65534 --regid=65534 --clear-groups brindlectl doctor
case $output in
  *setpriv:*) echo "skipped: the machine has no other user here" ;;
  *)
    says "may not open /dev/i2c-5, which belongs to root:root"
    says "do: groupadd --system --force brindle && usermod --append --groups brindle "
    ;;
esac

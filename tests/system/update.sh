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
says '"brindlectl recover" finishes it, --discard throws'
follow_advice
same second "$IMAGE"
cut_off '[ -e $journal ]' first
expect 5 brindlectl update --developer on --force
cut_off '[ ! -e $journal ]' before --no-journal --discard
expect 1 cmp -s before "$IMAGE" # the journal went first: it would have undone the update

# The journal in another folder, whose name has to be quoted
mkdir "it's j"
expect 0 brindlectl update second --no-journal
brindlectl update first --journal="it's j" 2>warning &
await [ -e "it's j/journal" ]
kill -KILL $!
wait $! || true
sleep 0.1 # the chip ends its write cycle
expect 0 /usr/bin/python3 -c 'import struct, sys, zlib
journal = open(sys.argv[1], "rb").read()
assert journal[:12] == b"BRINDLEJ\2\0V\0" and journal[14:19] == b"board"
assert journal[83 + 32768:-4] == open("first", "rb").read()
assert struct.unpack("<I", journal[-4:])[0] == zlib.crc32(journal[:-4])' "it's j/journal"
expect 0 brindlectl recover # of the default folder
expect 5 brindlectl recover --journal=missing
says "missing: no such folder"
expect 0 brindlectl recover --dry-run --journal="it's j"
says "would write "
cp "it's j/journal" kept
expect 5 brindlectl update second --journal="it's j"
follow_advice
same first "$IMAGE"
equal "left of the journal" "$(ls "it's j")" ""

# Something was stored since: recover refuses, and each way that it names is one.
expect 0 brindlectl update second --no-journal
cp kept "it's j/journal"
brindle 0 /BS 77
expect 5 brindlectl recover --journal="it's j"
says "changed since the update was cut off, on page *--discard"
expect 5 brindlectl recover --dry-run --journal="it's j"
cp "$IMAGE" stored
expect 0 brindlectl recover --discard --journal="it's j"
says "discarded the journal of an update of board: of its * pages"
same stored "$IMAGE"
cp kept "it's j/journal"
expect 5 brindlectl recover --journal="it's j"
follow_advice
same first "$IMAGE"

# What is no whole journal
head -c 1000 kept >"it's j/journal"
expect 5 brindlectl update first --journal="it's j"
expect 5 brindlectl recover --force --journal="it's j"
follow_advice
head -c 1000 kept >"it's j/journal"
expect 0 brindlectl update first --discard --journal="it's j"
for make in "ln -s nowhere" "ln -s ../first" mkdir mkfifo; do
  $make "it's j/journal"
  for line in "update second" "update second --discard" recover "recover --force"; do
    # shellcheck disable=SC2086 # words
    expect 5 brindlectl $line --journal="it's j"
  done
  says "not a regular file"
  rm -r "it's j/journal"
done
same first "$IMAGE"

# Each update starts on a chip that holds "first", and leaves the content of IMAGE.
updates() { # CODE TEXT IMAGE ARGUMENT...
  dd if=first of="$IMAGE" conv=notrunc status=none
  text=$2
  after=$3
  wanted=$1
  shift 3
  expect "$wanted" brindlectl update "$@"
  says "$text"
  same "$after" "$IMAGE"
}
put() { printf "$1" | dd of="$2" bs=1 seek="$3" conv=notrunc status=none; } # BYTES IMAGE ADDRESS
cp first flagged && put '\022' flagged 3
cp first on && put '\245' on 3
cp second kept && dd if=first of=kept bs=1 count=4 conv=notrunc status=none
cp first six && put '\006' six 1
brindlectl build removed --from=first --remove=upgrade
updates 0 "would write 189 of 512 pages in about * s: " first second --dry-run
updates 0 "would write 1 of 512 pages in about * s: 0" first --developer=on --dry-run
updates 0 "updated, 1 of 512" on --developer=on
updates 0 "updated" kept second --keep-settings
updates 0 "updated" six --revision=9 --revision=6
updates 0 "up to date" first --revision=5 --journal=missing
updates 0 "updated, 1 of 512" removed --remove=upgrade
updates 1 "flagged: not stored; --force stores it" first flagged
updates 0 "updated" flagged flagged --force
updates 5 'missing: no folder for the journal; "mkdir -p missing" makes it' first second --journal=missing
updates 5 "File name too long" first second --journal="$(printf '%0300d' 0)"
expect 1 sh -c 'brindlectl update second --journal="$1" 2>&1 | grep -q "cut off"' sh "$(printf '%0300d' 0)"
updates 0 "warning: /var/lib/brindle is kept in memory" second second

# A change of a chip with problems
cp first damaged && put 'xyz' damaged $((0x4050))
dd if=damaged of="$IMAGE" conv=notrunc status=none
expect 1 brindlectl update --revision=6
says "board: file 2 (upgrade) is damaged"
same damaged "$IMAGE"
expect 0 brindlectl update --revision=6 --force
holds 1 0600
expect 0 brindlectl update --file=2=upgrade
says "board: file 2 (upgrade) is damaged"
same six "$IMAGE"

# The streams are no file of the board's, and a result that nobody can have is a failure.
expect 0 sh -c 'brindlectl update --revision=5 <&- 2>&-' # warns that the journal is kept in memory
same first "$IMAGE"
expect 5 sh -c 'brindlectl update --revision=6 <&- >&- 2>&-'
same six "$IMAGE"
expect 0 sh -c 'brindlectl recover >&-' # has nothing to print
sh -c 'brindlectl list; echo $? >code' | true
equal "the exit code with a broken pipe" "$(cat code)" 5
run script -qec "brindlectl update second 2>messages" </dev/null
check "no progress without a terminal" [ "$(grep -c pages messages)" -eq 0 ]
run script -qec "brindlectl update first >result" </dev/null
says ' of 189 pages, 51 %, '

for i in 1 2 3 4 5 6 7 8 9 10; do
  bytes 40$i >"content$i"
  compete brindlectl update --file "board=content$i"
  compete Brindle /W 1 "content$i"
done
all_succeed
expect 0 brindlectl check
brindlectl extract board board last
equal "number of updates that are stored" "$(find . -name 'content*' -exec cmp -s last {} \; -print | wc -l)" 1

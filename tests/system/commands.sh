# The ten commands on a new board: what they print, how they end, what the EEPROM holds afterwards, and how many messages
# they send, from the board's trace. For n bytes read: one for each 16, and the address. For a page written: one.

# Brindle makes so many on top of the probe and the read of the table, which every command begins with.
makes() { # WRITES READS ARGUMENT...
  wanted="$((2 + $1)) $((2 + $2))"
  shift 2
  before=$(wc -l <trace)
  Brindle "$@" >/dev/null
  equal "writes and reads of Brindle $*" "$(tail -n +$((before + 1)) trace |
    awk '{ ++count[$5] } END { print count["write"], count["read"] }')" "$wanted"
}

bytes 100 >upgrade
bytes 300 >peripheral
bytes 50 >board
brindle 0 /w 2 upgrade
holds 4 "4000 0040 4040 6600 ffff ffff" # the first entry keeps room for the peripheral file
printf 'abc' >abc
brindle 0 /W 3 abc
holds 0x40c0 "c768 616263" # the checksum, low byte first, and the data
brindle 0 /W 1 peripheral
holds 4 "4000 2e01 8001 6600 0002 0500"
brindle 0 /W 003 board
for file in "1 peripheral" "2 upgrade" "3 board"; do
  brindle 0 /V "${file% *}" "${file#* }"
  bytes 40000 >read
  brindle 0 /r "${file% *}" read
  same read "${file#* }"
done
brindle 5 /V 2 peripheral

brindle 0 /BS 300
holds 0 "ff2c01ff"
brindle 0 /DS 1
holds 3 "a5"
brindle 0 /rbi information
equal "the first line of the board information" "$(head -n 1 information)" \
  "$(printf 'ff 2c 01 a5  40 00 2e 01  80 01 66 00  00 02 34 00\r')"
equal "the length of the board information" "$(wc -c <information)" 208
brindle 0 /DS 0
holds 3 "00"

brindle 0 /RA image
same image "$IMAGE"
brindle 0 /VA image
brindle 0 /E and further arguments
brindle 5 /VA image
brindle 5 /V 3 board
brindle 0 /WA image
same image "$IMAGE"

makes 1 4 /RBI information
makes 1 19 /R 1 read
makes 1 19 /V 1 peripheral
makes 1 2048 /RA image
makes 1 2048 /VA image
makes 5 0 /W 1 peripheral
makes 1 0 /BS 7
makes 1 0 /DS 1
# The second and the third file are read, the first is written, they are moved, the table is written and read back.
bytes 1100 >longer
makes $((2 + 18 + 2 + 1 + 1 + 1)) $((7 + 4 + 1)) /W 1 longer
makes 512 0 /WA image
makes 512 0 /E

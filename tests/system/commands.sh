# The ten commands on a new board: what they print, how they end, and what the EEPROM holds afterwards.

erased_from() { equal "the EEPROM is erased from $1 on" "$(tail -c +$(($1 + 1)) "$IMAGE" | tr -d '\377' | wc -c)" 0; }

bytes 100 >upgrade
bytes 300 >peripheral
bytes 50 >board
brindle 5 /R 2 nothing
check "a failed read makes no file" [ ! -e nothing ]

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
  fill 40000 101 >read
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
erased_from 0
brindle 5 /VA image
brindle 5 /V 3 board
brindle 0 /WA image
same image "$IMAGE"
brindle 0 /V 3 board
head -c 100 image >short
brindle 0 /WA short
erased_from 100

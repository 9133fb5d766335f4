# The ten commands on a new board: what they print, how they end, and what the EEPROM holds afterwards.

bytes 100 >upgrade
bytes 300 >peripheral
bytes 50 >board
failed /R 2 nothing
check "a failed read makes no file" absent nothing

complete /w 2 upgrade
check "the table holds the reservation and the upgrade file" holds 4 "4000 0040 4040 6600 ffff ffff"
printf 'abc' >abc
complete /W 3 abc
check "the image is the checksum, low byte first, and the data" holds 0x40c0 "c768 616263"
complete /W 1 peripheral
check "the files behind the peripheral configuration follow it" holds 4 "4000 2e01 8001 6600 0002 0500"
complete /W 003 board
for file in "1 peripheral" "2 upgrade" "3 board"; do
  read -r number name <<<"$file"
  complete /V "$number" "$name"
  fill 40000 101 >"$name.read"
  complete /r "$number" "$name.read"
  check "file $number comes back as it was" same "$name" "$name.read"
done
failed /V 2 peripheral

complete /BS 300
check "the revision is stored low byte first" holds 0 "ff2c01ff"
complete /DS 1
check "the developer flag is set" holds 3 "a5"
complete /rbi information
check "the board information shows the first page" equal "$(head -n 1 information)" \
  "ff 2c 01 a5  40 00 2e 01  80 01 66 00  00 02 34 00"$'\r'
check "the board information has 208 characters" equal "$(wc -c <information)" 208
complete /DS 0
check "the developer flag is cleared" holds 3 "00"

complete /RA image
check "a dump is the EEPROM" same image "$IMAGE"
complete /VA image
complete /E and further arguments
check "an erase leaves 0xff everywhere" equal "$(tr -d '\377' <"$IMAGE" | wc -c)" 0
failed /VA image
failed /V 3 board
complete /WA image
check "a restored EEPROM is the image" same image "$IMAGE"
complete /V 3 board
head -c 100 image >short
complete /WA short
check "a shorter image leaves 0xff behind it" equal "$(tail -c +101 "$IMAGE" | tr -d '\377' | wc -c)" 0

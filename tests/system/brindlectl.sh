# brindlectl beside Brindle on one board. What it prints is read by programs that were written elsewhere.

wrong_checksums='import json, sys, crcmod.predefined
checksum = crcmod.predefined.mkCrcFun("crc-16-maxim")
sys.exit(any(file["checksum"] != checksum(open(file["name"], "rb").read()) for file in json.load(sys.stdin)["files"]))'
third_party_read='import sys, smbus2
with smbus2.SMBus(5) as bus:
    address, first_quarter = smbus2.i2c_msg.write(0x56, [0, 0]), smbus2.i2c_msg.read(0x56, 8192)
    bus.i2c_rdwr(address, first_quarter)
    sys.exit(bytes(first_quarter) != open("image", "rb").read(8192))'

bytes 300 >peripheral
bytes 1000 >upgrade
bytes 50 >board
expect 0 brindlectl check
brindle 0 /W 1 peripheral
brindle 0 /W 2 upgrade
brindle 0 /W 3 board
brindle 0 /BS 300
brindle 0 /DS 0

# The files in another order, and their types in each spelling.
expect 0 brindlectl build --file board=board --file 0x2=upgrade --file 001=peripheral \
  --revision 7 --revision 0X12C --developer off image
same image "$IMAGE"
check "what smbus2 reads" /usr/bin/python3 -c "$third_party_read"
expect 0 brindlectl build --from board board-image
same board-image "$IMAGE"
expect 0 brindlectl extract board upgrade extracted
same extracted upgrade
check "what is extracted to standard output" sh -c 'brindlectl extract image 3 - | cmp - board'
expect 19 brindlectl list --goldcrest
expect 1 brindlectl doctor --goldcrest
says "cause: no EEPROM answers at 0x52"
brindlectl list --json >content
brindlectl list --json image >image-content
same content image-content
expect 5 sh -c 'brindlectl list image >/dev/full'

check "CRC-16/MAXIM-DOW by crcmod" /usr/bin/python3 -c "$wrong_checksums" <content
check "settings by jq" jq -e '.revision == 300 and .developer == false and .problems == []' content
printf 'x' | dd of="$IMAGE" bs=1 seek=66 conv=notrunc status=none
expect 5 brindlectl extract board 1 data
says "file 1 (peripheral) is damaged"
expect 5 sh -c 'brindlectl check --json board missing image >contents'
check "three sources by jq" jq -e 'map(.problems // [{}] | map(.id)) == [["damaged"], [null], []]' contents
expect 1 sh -c 'brindlectl diff --json board image >differences'
check "differences by Python" /usr/bin/python3 -m json.tool differences

# An image is replaced at once: its other name keeps the old content, a link stays one, and a disk that is full
# leaves everything as it was.
mkdir folder
echo old >folder/image
chmod 640 folder/image
ln folder/image folder/old
ln -s image folder/link
expect 0 brindlectl build folder/link
check "the link stays one" [ -L folder/link ]
equal "the other name" "$(cat folder/old)" old
expect 5 sh -c 'ulimit -f 1; brindlectl build folder/image --revision 1'
equal "mode, size and revision" "$(stat -c '%a %s' folder/image) $(hex folder/image 1 2)" "640 32768 ffff"
equal "files" "$(echo folder/*)" "folder/image folder/link folder/old"
expect 5 sh -c 'brindlectl list - <folder'
mkfifo pipe
for path in folder missing/image pipe; do expect 5 brindlectl build $path; done
check "the pipe stays one" [ -p pipe ]

hold_board
holder=$!
brindlectl list >late &
await at_board $!
equal "what is read while another process has the board" "$(cat late)" ""
kill $holder
wait $! || true
check "the board is read afterwards" [ -s late ]

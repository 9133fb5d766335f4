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
brindle 0 /DS 1

expect 0 brindlectl build --file 1=peripheral --file 2=upgrade --file 3=board --revision 300 --developer on image
same image "$IMAGE"
check "what smbus2 reads" /usr/bin/python3 -c "$third_party_read"
expect 0 brindlectl build --from board board-image
same board-image "$IMAGE"
expect 0 brindlectl extract board upgrade extracted
same extracted upgrade
expect 0 brindlectl list --goldcrest
says "revision: erased"
brindlectl list --json >content
brindlectl list --json image >image-content
same content image-content

check "CRC-16/MAXIM-DOW by crcmod" /usr/bin/python3 -c "$wrong_checksums" <content
check "settings by jq" jq -e '.revision == 300 and .developer and .problems == []' content
printf 'x' | dd of="$IMAGE" bs=1 seek=66 conv=notrunc status=none
expect 1 brindlectl check --json board image
echo "$output" >contents
check "the damaged file by jq" jq -e 'map(.problems | map(.id)) == [["damaged"], []]' contents
expect 1 brindlectl diff --json board image
echo "$output" >differences
check "differences by Python" /usr/bin/python3 -m json.tool differences

exec 9</sys/bus/i2c/devices
flock 9
{ brindlectl list >late || true; } 9<&- &
sleep 0.2
check "nothing is read while another process has the board" [ ! -s late ]
exec 9<&-
wait $!
check "the board is read afterwards" [ -s late ]

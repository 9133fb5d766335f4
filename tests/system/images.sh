# brindlectl on image files: what it finds, prints and makes.

erased() { head -c 32768 /dev/zero | tr '\0' '\377'; }

# Writes the bytes, as hexadecimal digits, at ADDRESS into a copy of the image "whole".
patched() { # ADDRESS DIGITS
  cp whole image
  /usr/bin/python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex(sys.argv[1]))' "$2" |
    dd of=image bs=1 seek=$(($1)) conv=notrunc status=none
}

# The image has these states, findings with the files concerned, and free bytes.
finds() { # ADDRESS DIGITS STATES FINDINGS FREE
  patched "$1" "$2"
  found=$(brindlectl list --json image | jq -r '[(.files | map(.state) | join(" ")),
    (.problems | map([.id] + (.files | map(tostring)) | join(" ")) | join(", ")), (.freeBytes | tostring)] | join("; ")')
  equal "what is found with $2 at $1" "$found" "$3; $4; $5"
}

# File 1 has 102 bytes at 0x40, file 2 has 5 at 0xC0, file 3 has 202 at 0x100; their entries are at 4, 8 and 12.
bytes 100 >peripheral
printf abc >upgrade
bytes 200 >board
expect 0 brindlectl build whole --file=1=peripheral --file=2=upgrade --file=3=board
finds 0 ff "stored stored stored" "" 32395
finds 3 12 "stored stored stored" "developer-flag" 32395
finds 4 ffffffff "absent stored stored" "" 32497
finds 4 40000040 "reserved stored stored" "" 32497
finds 4 400066ff "absent stored stored" "torn-entry 1" 32497
finds 8 c0000200 "stored empty stored" "" 32398
finds 8 c0000100 "stored damaged stored" "damaged 2" 32399
finds 8 c00005ff "stored absent stored" "torn-entry 2" 32400
finds 8 00000000 "stored absent stored" "torn-entry 2" 32400
finds 8 80000500 "stored damaged stored" "damaged 2, overlap 1 2" 32400
finds 8 20000500 "stored damaged stored" "damaged 2, below-files 2" 32400
finds 8 06000500 "stored damaged stored" "damaged 2, below-files 2, over-table 2" 32400
finds 8 fc7f0400 "stored damaged stored" "damaged 2" 32396
finds 8 fc7f0500 "stored damaged stored" "damaged 2, beyond-end 2" 32396
finds 8 f07fc000 "stored damaged stored" "damaged 2, beyond-end 2, over-table 2, overlap 1 2" 32374
finds 8 c0800500 "stored stored stored" "beyond-end 2" 32395
finds 8 40000040 "stored damaged stored" "damaged 2, overlap 1 2, overlap 2 3" 16320
finds 12 0001417f "stored stored damaged" "damaged 3, beyond-end 3, over-table 3, overlap 1 3" 85

# A changed byte is told by what it belongs to.
differs() { # CODE_OF_CHECK CODE_OF_DIFF TEXT_OF_DIFF ADDRESS...
  code_of_check=$1
  code_of_diff=$2
  text_of_diff=$3
  shift 3
  for address; do
    patched "$address" 55
    expect "$code_of_check" brindlectl check image
    expect "$code_of_diff" brindlectl diff whole image
    says "$text_of_diff"
  done
}
differs 0 0 "same content, different layout" 0 0x10 0x3f 0xa6 0xbf 0xc5 0xff 0x1ca
differs 0 1 "revision: erased and " 1 2
differs 1 1 "developer board: erased and 0x55" 3
differs 1 1 "file 1 (peripheral): 100 bytes, checksum 0x???? and damaged" 0x40 0x42 0xa5
differs 1 1 "file 2 (upgrade): 3 bytes, checksum 0x68c7 and damaged" 0xc0 0xc2 0xc4
differs 1 1 "file 3 (board): 200 bytes, checksum 0x???? and damaged" 0x100 0x1c9

patched 0xc2 787a
cp image damaged
expect 1 brindlectl list damaged
equal "the list" "$output" "revision: erased
developer board: erased
file 1 (peripheral): stored, 102 bytes at 0x0040, 100 of data, checksum 0x$(hex whole 0x41 1)$(hex whole 0x40 1), room for 32446 bytes
file 2 (upgrade): damaged, 5 bytes at 0x00c0, 3 of data, checksum 0x68c7, computed 0xaf1c, room for 32318 bytes
file 3 (board): stored, 202 bytes at 0x0100, 200 of data, checksum 0x$(hex whole 0x101 1)$(hex whole 0x100 1), room for 32510 bytes
free: 32395 bytes
problem: file 2 (upgrade) is damaged: stored checksum 0x68c7, computed 0xaf1c"
expect 0 brindlectl diff damaged damaged
equal "differences" "$output" ""
patched 0xc2 79
expect 1 brindlectl diff damaged image
expect 0 brindlectl diff --json whole whole
equal "no differences as JSON" "$(echo "$output" | jq -c .)" '{"same":true,"differences":[]}'
expect 0 brindlectl build image --from=whole --revision=2 --remove=3
expect 1 brindlectl diff --json whole image
equal "differences as JSON" "$(echo "$output" | jq -c '[.same, (.differences[] | .id, .files)]')" \
  '[false,"revision",[],"file",[3]]'

# One source is an object; several say which is which.
expect 1 brindlectl check --json damaged
equal "one source" "$(echo "$output" | jq -c '[has("source"), .problems[0].files]')" '[false,[2]]'
expect 5 sh -c 'brindlectl check --json damaged missing whole 2>messages'
equal "three sources" "$(echo "$output" | jq -c 'map([.source, .error, (.problems | length)])')" \
  '[["damaged",null,1],["missing","missing: No such file or directory",0],["whole",null,0]]'
expect 1 brindlectl check damaged whole
equal "text of two sources" "$output" \
  "damaged: file 2 (upgrade) is damaged: stored checksum 0x68c7, computed 0xaf1c"

# Files out of images, and images out of files
expect 0 brindlectl extract whole board data
same data board
expect 5 brindlectl extract damaged 2 new
says "file 2 (upgrade) is damaged"
expect 5 brindlectl extract whole 1 /dev/full
says "/dev/full: No space left on device"
expect 22 brindlectl extract whole 1 whole
says "is the source"
expect 22 brindlectl extract whole foo -
says "no file type: foo (1, 2, 3 or peripheral, upgrade, board)"
expect 5 brindlectl extract missing 1 new
says "missing: No such file or directory"
expect 5 sh -c 'brindlectl build - >&-'
expect 0 brindlectl build image --from=missing --from=whole --revision=1 --revision=0X12C
equal "the last values" "$(hex image 1 2)" 2c01
(umask 027 && brindlectl build masked)
equal "mode of a new image" "$(stat -c %a masked)" 640

# Each line is refused with CODE, and nothing is done. A word is nothing but spaces where it is to be empty.
refuses_each() { # CODE LINE...
  wanted_code=$1
  shift
  for line; do
    # shellcheck disable=SC2086 # words
    expect "$wanted_code" brindlectl $line
  done
}
: >empty
printf abc >small
erased >larger
echo >>larger
erased | head -c 16382 >block # Brindle's next start would end it at its first erased byte
bytes 12000 >large
bytes 8574 >rest
brindlectl build full --file=1=large --file=2=large --file=3=rest
ls >before
refuses_each 22 "" frobnicate "help frobnicate" "list whole whole" "list --frobnicate" "diff whole" build "extract whole 1"
refuses_each 22 "extract whole 0 -" "extract whole 4 -" "extract whole 1a -" "extract whole Board -"
for revision in "" 65535 65536 -1 0x 99999999999999999999 "1 --revision=a"; do
  refuses_each 22 "build new --revision=$revision"
done
for file in 1 1= 4=small =small "1=small --file=peripheral=small" "1=small --remove=1"; do
  refuses_each 22 "build new --file=$file"
done
refuses_each 22 "build new --from" "build new --from=" "build new --remove=4" "build new --developer=1 --developer=on"
refuses_each 22 update "update --revision=3 --keep-settings" "update whole --revision=3" "update whole --journal="
refuses_each 22 "update whole --journal=. --no-journal" "recover --wait=x" "recover --discard --force" "recover x"
for unset in "list" "check" "diff whole" "extract whole 1" "build" "update"; do
  # shellcheck disable=SC2086 # words
  expect 22 brindlectl $unset ""
done
refuses_each 5 "build whole --file=2=empty" "build whole --file=1=block" "build whole --file=1=larger"
refuses_each 5 "build whole --file=1=missing" "build whole --file=3=large --from=full" "build whole --from=small"
refuses_each 5 "extract small 1 new" "build whole --from=larger" "update small --force --journal=."
ls >after
equal "files that were made" "$(comm -3 before after)" "$(printf '\tafter')"
expect 0 brindlectl check whole
refuses_each 19 "list --goldcrest" "check whole board --goldcrest" "extract board 1 - --goldcrest"

# Help
brindlectl help >usage
for word in --help -h; do check "brindlectl $word" sh -c "brindlectl $word | cmp - usage"; done
for command in list check extract build diff update recover doctor; do
  check "$command in the usage" grep -q "^  $command " usage
  expect 0 brindlectl help $command
  says "Usage: brindlectl $command [[]OPTION...]*--help, -h"
  for word in --help -h; do check "$command $word" [ "$(brindlectl $command $word)" = "$output" ]; done
done

# Whatever an operator may type or hand over by mistake: its message, its exit code, an EEPROM left as it was.

missing() { brindle 22 "Missing required command line arguments, expected: $1, received: $2 or unknown command. Exiting..." "${@:3}"; }

bytes 200 >content
complete /W 1 content
complete /W 2 content
cp "$IMAGE" before
unchanged() { check "nothing was written" same before "$IMAGE"; }

brindle 22 "Missing minimum required command line arguments. Exiting..."
check "the usage text follows" equal "$(tail -n +2 output.txt | md5sum)" \
  "$(Brindle /x | tail -n +2 | md5sum)"
missing 2 2 /x
missing 2 2 ""
missing 2 2 W
missing 4 2 /R
missing 4 3 /w 1
missing 4 3 /V 1
for command in /BS /DS /RBI /RA /WA /VA; do missing 3 2 "$command"; done
for type in "" 0 4 +1 -1 1a " 1" "1 " 999999999999 4294967297; do
  brindle 22 "FileType is incorrect. Exiting..." /W "$type" content
done
for revision in "" abc - 99999999999 -2147483649; do
  brindle 22 "BaseboardRev# is incorrect. Exiting..." /BS "$revision"
done
unchanged

mkdir folder
: >empty
bytes 65533 >large
truncate -s $((4 * 1024 * 1024 * 1024 + 10)) sparse
truncate -s $((3 * 1024 * 1024 * 1024)) sparse3
bytes 32767 >image-1
fill 32769 101 >image+1
for path in missing folder folder/missing sparse sparse3 large /dev/full; do
  failed /W 3 "$path"
  failed /V 2 "$path"
  failed /WA "$path"
  failed /VA "$path"
done
failed /WA image+1
failed /VA image+1
failed /VA image-1
failed /VA empty
failed /V 2 empty
failed /W 3 image-1
failed /R 3 never-stored
check "what is not stored makes no file" absent never-stored
failed /R 1 missing/file
failed /RA folder
failed /RBI missing/file
unchanged

failed /R 1 /dev/full
failed /RA /dev/full
failed /RBI /dev/full
limited() { (ulimit -f 1 && exec Brindle "$@"); }
code=0
limited /RA too-large >output.txt || code=$?
check "a dump beyond the file size limit fails" ended_with 5 "EEPROM read/write failed." "$code"
unchanged

generate() { cat content; }
complete /V 1 <(generate)
complete /W 3 <(generate)
complete /V 3 /dev/stdin < <(generate)
complete /R 3 >(cat >piped)
failed /W 3 <(true)
failed /V 3 <(true)
failed /W 3 <(cat /dev/zero)
failed /WA <(cat image-1)
complete /V 3 content

for value in " 42:2a00" "-1:ffff" "65536:0000" "12abc:0c00" "007:0700" "+5:0500"; do
  complete /BS "${value%:*}"
  check "the revision is ${value#*:}" holds 1 "${value#*:}"
done
for value in 0 2 01 "1 " ""; do
  complete /DS 1
  complete /DS "$value"
  check "the developer flag is cleared" holds 3 00
done

complete /WA image-1
check "an image of 32767 bytes leaves 0xff behind it" holds 0x7fff ff
complete /WA empty
complete /W 2 empty
check "an empty file is stored as its checksum" holds 0x4040 "ffffff"
failed /R 2 reads-back

# Tables that make no sense. No run may end by a signal, and reading changes nothing.
for table in "0000 0000 0000 0000 0000 0000" "4000 ffff 4000 feff 0000 0100" "fe7f 0400 f0ff 2000 4000 ff7f" \
  "0400 3c00 0500 0c00 0600 1000" "4000 0040 4000 0040 4000 0040"; do
  for background in 000 377 125; do
    fill 32768 "$background" >nonsense
    printf "$(sed 's/ //g; s/../\\x&/g' <<<"$table")" | dd of=nonsense bs=1 seek=4 conv=notrunc status=none
    dd if=nonsense of="$IMAGE" conv=notrunc status=none
    cp "$IMAGE" before
    for number in 1 2 3; do
      code=0
      Brindle /R "$number" out >output.txt || code=$?
      check "a nonsense table gives an ordinary end" [ "$code" -eq 0 -o "$code" -eq 5 ]
    done
    unchanged
    code=0
    Brindle /W 3 content >output.txt || code=$?
    check "writing under a nonsense table ends in order" [ "$code" -eq 0 -o "$code" -eq 5 ]
    if [ "$code" -eq 0 ]; then complete /V 3 content; fi
  done
done

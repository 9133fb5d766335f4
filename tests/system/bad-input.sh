# Whatever an operator may type or hand over by mistake: its message, its exit code, an EEPROM left as it was.

missing() { # EXPECTED ARGUMENT...
  counts="expected: $1, received: $#"
  shift
  refuses "Missing required command line arguments, $counts or unknown command. Exiting..." "$@"
}
unchanged() { same before "$IMAGE"; }

bytes 200 >content
brindle 0 /W 1 content
brindle 0 /W 2 content
cp "$IMAGE" before

refuses "Missing minimum required command line arguments. Exiting..."
missing 2 /x
missing 2 ""
missing 2 W
missing 4 /R
missing 4 /w 1
missing 4 /V 1
for command in /BS /DS /RBI /RA /WA /VA; do missing 3 "$command"; done
for type in "" 0 4 +1 -1 1a " 1" "1 " 999999999999 4294967297; do
  refuses "FileType is incorrect. Exiting..." /W "$type" content
done
for revision in "" abc - 99999999999 -2147483649; do
  refuses "BaseboardRev# is incorrect. Exiting..." /BS "$revision"
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
  for command in "/W 3" "/V 2" /WA /VA; do
    # shellcheck disable=SC2086
    brindle 5 $command "$path"
  done
done
brindle 5 /WA image+1
brindle 5 /VA image+1
brindle 5 /VA image-1
brindle 5 /VA empty
brindle 5 /V 2 empty
brindle 5 /W 3 image-1
brindle 5 /R 3 never-stored
check "what is not stored makes no file" [ ! -e never-stored ]
brindle 5 /R 1 missing/file
brindle 5 /RA folder
brindle 5 /RBI missing/file
for command in "/R 1" /RA /RBI; do
  # shellcheck disable=SC2086
  brindle 5 $command /dev/full
done
expect 5 sh -c 'ulimit -f 1; exec Brindle /RA too-large'
unchanged

through_pipe() { # CODE COMMAND_WITH_DATA ARGUMENT...
  rm -f pipe # which the last writer may still have open
  mkfifo pipe
  eval "$2" >pipe 2>&1 &
  wanted=$1
  shift 2
  brindle "$wanted" "$@" pipe
}
through_pipe 0 'cat content' /V 1
through_pipe 0 'cat content' /W 3
through_pipe 5 : /W 3
through_pipe 5 : /V 3
through_pipe 5 'cat /dev/zero' /W 3
through_pipe 5 'cat image-1' /WA
brindle 0 /V 3 content
expect 0 sh -c 'cat content | Brindle /V 3 /dev/stdin'
cat pipe >piped &
brindle 0 /R 3 pipe
wait $!
same piped content

for value in " 42:2a00" "-1:ffff" "65536:0000" "12abc:0c00" "010:0a00" "+5:0500"; do
  brindle 0 /BS "${value%:*}"
  holds 1 "${value#*:}"
done
for value in 0 2 01 "1 " ""; do
  brindle 0 /DS 1
  brindle 0 /DS "$value"
  holds 3 00
done

brindle 0 /WA image-1
holds 0x7fff ff
brindle 0 /WA empty
brindle 0 /W 2 empty # is stored as its checksum
holds 0x4040 ffffff
brindle 5 /R 2 reads-back

# Tables that make no sense. No run may end by a signal, and reading changes nothing.
orderly() { check "ended with $code: 0 or 5" [ $((code * (code - 5))) -eq 0 ]; }

for table in 000000000000000000000000 4000ffff4000feff00000100 fe7f0400f0ff20004000ff7f \
  04003c0005000c0006001000 400000404000004040000040; do
  for background in 000 377 125; do
    fill 32768 "$background" >nonsense
    env printf "$(echo "$table" | sed 's/../\\x&/g')" | dd of=nonsense bs=1 seek=4 conv=notrunc status=none
    dd if=nonsense of="$IMAGE" conv=notrunc status=none
    for number in 1 2 3; do
      run Brindle /R "$number" out
      orderly
    done
    same nonsense "$IMAGE"
    run Brindle /W 3 content
    orderly
    if [ "$code" -eq 0 ]; then brindle 0 /V 3 content; fi
  done
done

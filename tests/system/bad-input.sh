# Whatever an operator may type or hand over by mistake: its message, its exit code, an EEPROM left as it was.

bytes 200 >content
brindle 0 /W 1 content
brindle 0 /W 2 content
cp "$IMAGE" before

refuses "Missing minimum required command line arguments. Exiting..."
for words in "2 /x" "2 /" "4 /R" "4 /w 1" "3 /BS" "3 /DS" "3 /RBI" "3 /RA" "3 /WA" "3 /VA"; do
  counts="expected: ${words%% *}, received: $(echo "$words" | wc -w)"
  refuses "Missing required command line arguments, $counts or unknown command. Exiting..." ${words#* }
done
for type in "" 0 4 +1 -1 1a " 1" "1 " 999999999999 4294967297; do
  refuses "FileType is incorrect. Exiting..." /W "$type" content
done
for revision in "" abc - 99999999999 -2147483649; do
  refuses "BaseboardRev# is incorrect. Exiting..." /BS "$revision"
done

mkdir folder
: >empty
bytes 65533 >large
truncate -s $((4 * 1024 * 1024 * 1024 + 10)) sparse
truncate -s $((3 * 1024 * 1024 * 1024)) sparse3
bytes 32767 >image-1
bytes 32769 >image+1
for path in missing folder folder/missing sparse sparse3 large /dev/full /sys/class/net/lo/mtu; do # mtu's size is wrong
  for command in "/W 3" "/V 2" /WA /VA; do brindle 5 $command "$path"; done
done
for path in /dev/full folder missing/file; do
  for command in "/R 1" /RA /RBI; do brindle 5 $command $path; done
done
for arguments in "/W 3 image-1" "/WA image+1" "/VA image+1" "/VA image-1" "/VA empty" "/V 2 empty" "/R 3 unstored"; do
  brindle 5 $arguments
done
check "what is not stored makes no file" [ ! -e unstored ]
expect 5 sh -c 'ulimit -f 1; exec Brindle /RA too-large'
same before "$IMAGE"

through_pipe() { # CODE FILE COMMAND
  rm -f pipe # which the last writer may still have open
  mkfifo pipe
  cat "$2" >pipe 2>&1 &
  brindle "$1" $3 pipe
}
through_pipe 0 content "/V 1"
through_pipe 0 content "/W 3"
through_pipe 5 /dev/null "/W 3"
through_pipe 5 /dev/null "/V 3"
through_pipe 5 /dev/zero "/W 3"
through_pipe 5 image-1 /WA
brindle 0 /RA whole
through_pipe 0 whole /VA
cat whole content >longer
through_pipe 5 longer /VA
brindle 0 /V 3 content
expect 0 sh -c 'cat content | Brindle /V 3 /dev/stdin'
timeout 60 cat pipe >piped &
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

brindle 0 /WA empty
equal "what is not erased" "$(hex "$IMAGE" | tr -d f)" ""

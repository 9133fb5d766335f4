# Whatever becomes of standard output, the operation and its exit code stay the same.

bytes 1000 >content
expect 0 sh -c 'exec Brindle /W 1 content >&-'
expect 0 sh -c 'exec Brindle /W 2 content <&- >&- 2>&-'
expect 0 sh -c 'exec Brindle /W 3 content >/dev/full'
expect 0 sh -c 'exec Brindle /W 3 content <&- 2>&-'
for number in 1 2 3; do brindle 0 /V "$number" content; done
cp "$IMAGE" before
expect 5 sh -c 'exec Brindle /V 3 /dev/null >&-'
expect 22 sh -c 'exec Brindle >/dev/full'
same before "$IMAGE" # no result line went into the EEPROM

bytes 2000 >longer
sh -c 'Brindle /W 1 longer; echo $? >code' | true
equal "the exit code with a broken pipe" "$(cat code)" 0
brindle 0 /V 1 longer
brindle 0 /V 2 content

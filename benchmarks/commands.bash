# The commands that are measured, and what the floor does for each.

# for_each_command FUNCTION: calls FUNCTION NAME STEPS BRINDLE_ARGUMENT... Every run of Brindle begins with
# the probe of the chip and the read of the table.
for_each_command() {
  local start="read:0:1 read:4:12"
  "$1" /RA "$start read:0:32768:floor.out" /RA brindle.out
  "$1" /VA "$start read:0:32768" /VA image
  "$1" "/R 1" "$start read:0x40:16386:floor.out" /R 1 brindle.out
  "$1" /RBI "$start read:0:64:floor.out" /RBI brindle.out
  "$1" "/W 1" "$start write:0x40:stored" /W 1 content
  [ "$QUICK" -eq 0 ] || return 0
  "$1" /WA "$start write:0:image" /WA image
  "$1" /E "$start write:0:erased" /E
}

# How the bus is found among what the kernel lists. The script may change the board's listing: it is its own.

devices=/sys/bus/i2c/devices
adapter=$(grep -l 'I2C(0x0000000040150000)' $devices/*/name)
name=$(cat "$adapter")

named() { # named OUTCOME TEXT: with this name of the adapter.
  printf '%s\n' "$2" >"$adapter"
  "$1" /V 1 content
}

bytes 100 >content
complete /W 1 content

named complete "STM32F7 I2C(0x40150000)"
named complete "words, then I2C(0x40150000) and more I2C(0x1)"
named not_accessible "STM32F7 I2C(0x40150000"
named not_accessible "STM32F7 i2c(0x40150000)"
named not_accessible "STM32F7 I2C(0x)"
named not_accessible "STM32F7 I2C(0x40140000)"
named not_accessible ""
named complete "STM32F7 I2C( I2C(0x40150000)"

# A link loop, a file, and names that are no regular file: skipped, never opened.
ln -s loop $devices/loop
: >$devices/plain
mkdir $devices/i2c-77 $devices/i2c-78
mkfifo $devices/i2c-77/name
ln -s name $devices/i2c-78/name
ln -s /dev/null /dev/i2c-77
ln -s /dev/null /dev/i2c-78
named complete "$name"
rm "$adapter"
not_accessible /V 1 content
mkfifo "$adapter"
not_accessible /V 1 content
rm "$adapter"
printf '%s\n' "$name" >"$adapter"
complete /V 1 content

# How the bus is found among what the kernel lists. The script may change the board's listing: it is its own.

devices=/sys/bus/i2c/devices
adapter=$(grep -l 'I2C(0x0000000040150000)' $devices/*/name)
name=$(cat "$adapter")

named() { # CODE NAME
  echo "$2" >"$adapter"
  brindle "$1" /V 1 content
}

bytes 100 >content
brindle 0 /W 1 content

named 0 "STM32F7 I2C(0x40150000)"
named 0 "words), then I2C(0x40150000) and more I2C(0x1)"
named 0 "STM32F7 I2C( I2C(0x40150000)"
named 19 "STM32F7 I2C(0x40150000"
named 19 "words) I2C(0x40150000"
named 19 "STM32F7 i2c(0x40150000)"
named 19 "STM32F7 I2C(0x40140000)"
named 19 ""

# A link loop, a file, names that are no regular file, an adapter without a node: skipped, never opened.
ln -s loop $devices/loop
: >$devices/plain
mkdir $devices/i2c-77 $devices/i2c-78 $devices/i2c-79
mkfifo $devices/i2c-77/name
ln -s name $devices/i2c-78/name
echo "$name" >$devices/i2c-79/name
ln -s /dev/null /dev/i2c-77
ln -s /dev/null /dev/i2c-78
named 0 "$name"
rm "$adapter"
brindle 19 /V 1 content
named 0 "$name"

# Of two adapters with one address the first listed one counts. The other one here is no adapter.
ln -s /dev/null /dev/i2c-79
code=0
find $devices/ -maxdepth 1 \( -name i2c-79 -o -path "${adapter%/name}" \) | head -n 1 | grep -q i2c-79 && code=19
brindle "$code" /V 1 content

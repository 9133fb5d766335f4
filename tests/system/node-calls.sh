# How many calls on the node a command makes, from the board's trace. For n bytes read: three for each transfer
# of 16, one more for the first, which sends the address. For a page written: three.

# The node's calls while COMMAND runs, in numbers of I2C_SLAVE, I2C_TENBIT, write and read.
calls() { # COMMAND...
  before=$(wc -l <trace)
  "$@" >/dev/null || return
  tail -n +$((before + 1)) trace | awk '$5 == "ioctl" { ++count[$6] } $5 == "write" || $5 == "read" { ++count[$5] }
    END { print count["I2C_SLAVE"] + 0, count["I2C_TENBIT"] + 0, count["write"] + 0, count["read"] + 0 }'
}

# Brindle makes so many on top of the probe and the read of the table, which every command begins with.
makes() { # WRITES READS TRANSFERS ARGUMENT...
  wanted="$((2 + $3)) $((2 + $3)) $((2 + $1)) $((2 + $2))"
  shift 3
  equal "calls of Brindle $*" "$(calls Brindle "$@")" "$wanted"
}

bytes 1000 >content
bytes 1100 >longer
bytes 100 >upgrade
brindle 0 /W 1 content
brindle 0 /W 2 upgrade

makes 1 4 4 /RBI information
makes 1 63 63 /R 1 read
makes 1 63 63 /V 1 content
makes 1 2048 2048 /RA image
makes 1 2048 2048 /VA image
makes 16 0 16 /W 1 content
makes 1 0 1 /BS 7
makes 1 0 1 /DS 1
# The second file is read, the first written, the second moved, the table written and read back.
makes $((1 + 18 + 2 + 1 + 1)) $((7 + 1)) $((7 + 18 + 2 + 1 + 1)) /W 1 longer
makes 512 0 512 /WA image
makes 512 0 512 /E

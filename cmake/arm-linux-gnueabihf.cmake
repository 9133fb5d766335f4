# The board's processor with a 32-bit userland.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake)
# No notes on what GCC 7 changed in the calling convention.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

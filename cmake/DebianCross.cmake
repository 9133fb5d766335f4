# Cross-builds with Debian's g++-TRIPLET; tests run under its qemu-user. A toolchain file sets `triplet`, `emulator` and
# CMAKE_SYSTEM_PROCESSOR, and includes this.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${CMAKE_FIND_ROOT_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# These headers are the same for every processor, and Debian has them among the host's files alone.
set(nlohmann_json_DIR /usr/share/cmake/nlohmann_json CACHE PATH "CMake package of nlohmann-json")

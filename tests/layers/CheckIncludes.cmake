# cmake -DROOT=... -P CheckIncludes.cmake
#
# Every quoted include of the product names its header as LAYER/Header.h: a name relative to the file itself, or
# one through "..", would get round the include paths.
set(checked 0)
foreach(layer platform i2c eeprom cli ctl)
  file(GLOB_RECURSE files ${ROOT}/${layer}/*.h ${ROOT}/${layer}/*.cpp)
  foreach(file IN LISTS files)
    file(STRINGS ${file} lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      math(EXPR checked "${checked} + 1")
      if(line MATCHES "\\.\\." OR (line MATCHES "\"" AND NOT line MATCHES "\"(platform|i2c|eeprom|cli|ctl)/[A-Za-z0-9]+\\.h\""))
        message(SEND_ERROR "${file}: ${line}")
      endif()
    endforeach()
  endforeach()
endforeach()
if(checked EQUAL 0)
  message(FATAL_ERROR "no include found to check")
endif()

# brindle_layer(NAME SOURCES file... [USES layer...])
#
# A layer is a folder of the source tree and a static library of the same name. Its headers are included
# as "NAME/Header.h". The library's include root holds nothing but the layer's own folder, so a layer sees
# itself and the layers it uses, and an include that climbs finds no file.
#
# In a Release each layer is compiled as one file, which takes a third of the processor time: most of a small file's
# goes into the standard library's headers. Elsewhere each file is compiled alone, so that it names what it includes.
function(brindle_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 layer "" "" "SOURCES;USES")
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${name} ${root}/${name} SYMBOLIC)
  add_library(${name} STATIC ${layer_SOURCES})
  target_include_directories(${name} PUBLIC ${root})
  target_link_libraries(${name} PUBLIC ${layer_USES} Threads::Threads)
  brindle_product(${name})
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
endfunction()

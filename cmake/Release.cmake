# What the product is compiled with in a Release build, where CMake's own choice is -O3: the tool waits for the
# chip, so its size counts and its speed does not. docs/performance.md has what each option gives.
add_library(release INTERFACE)
target_compile_options(release INTERFACE $<$<CONFIG:Release>:-Os>)
# For those who link statically: it leaves out what nobody calls of the libraries.
target_link_options(release INTERFACE $<$<CONFIG:Release>:-Wl,--gc-sections>)

# Link-time optimisation where the compiler has it. Not for clang, which needs another linker for it.
#
# With it, g++ 12.2 folds functions that are identical but for the types that they read, and drops stores that only the
# one of the other type would see. Without -fno-ipa-icf CtlTest therefore crashes in RunCommandLine, where a
# std::vector<std::string> is moved without its end:
#   cmake --preset release -DBRINDLE_BUILD_TESTS=ON && cmake --build --preset release && ctest --preset release -L ctl
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  include(CheckIPOSupported)
  check_ipo_supported(RESULT BRINDLE_LTO LANGUAGES CXX)
  target_compile_options(release INTERFACE -fno-ipa-icf)
endif()

# brindle_product(TARGET): a part of the product.
function(brindle_product target)
  target_link_libraries(${target} PRIVATE warnings release)
  if(BRINDLE_LTO)
    set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
  endif()
endfunction()

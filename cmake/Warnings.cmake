# The warnings of our own code; errors where BRINDLE_WARNINGS_AS_ERRORS says so.
add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  # g++ 12 warns wrongly of std::string concatenation under -O3 (GCC bug 105651).
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>
  $<$<BOOL:${BRINDLE_WARNINGS_AS_ERRORS}>:-Werror>)

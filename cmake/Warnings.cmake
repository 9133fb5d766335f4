# The warnings of our own code; errors where BRINDLE_WARNINGS_AS_ERRORS says so.
add_library(brindle_warnings INTERFACE)
target_compile_options(brindle_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${BRINDLE_WARNINGS_AS_ERRORS}>:-Werror>)

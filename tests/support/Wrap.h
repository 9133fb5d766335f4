// Defines what takes the place of a system function that the program is linked with WRAPS for; the function
// itself is then __real_FUNCTION.
#pragma once

#define WRAP(result, function, ...)                 \
  extern "C" result __real_##function(__VA_ARGS__); \
  extern "C" result __wrap_##function(__VA_ARGS__)

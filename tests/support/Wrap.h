// Defines the replacement of a system function that WRAPS names; the function itself is __real_FUNCTION.
#pragma once

#define WRAP(result, function, ...)                 \
  extern "C" result __real_##function(__VA_ARGS__); \
  extern "C" result __wrap_##function(__VA_ARGS__)

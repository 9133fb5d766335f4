// Where the virtual operations of a class lie in its table, read from pointers to members (Itanium C++
// ABI 2.3).
//
// A virtual destructor takes two slots, so in a class that begins with one the n-th operation has slot n.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

// Picks the overload of an operation that has `Signature`.
template <typename Signature, typename Class>
Signature Class::*Overload(Signature Class::*operation) {
  return operation;
}

template <typename Member>
std::size_t SlotOf(Member operation) {
  struct {
    std::size_t entry;
    std::ptrdiff_t adjustment;
  } representation;
  static_assert(sizeof representation == sizeof operation);
  std::memcpy(&representation, &operation, sizeof representation);
#if defined(__aarch64__) || defined(__arm__)
  return representation.entry / sizeof(void*);  // the mark of a virtual operation is in the adjustment
#else
  return (representation.entry - 1) / sizeof(void*);
#endif
}

// Expects `operations` in consecutive slots of their class, beginning with `first`.
template <typename... Members>
void ExpectSlots(char const* className, std::size_t first, Members... operations) {
  for (const std::size_t slot : {SlotOf(operations)...}) EXPECT_EQ(slot, first++) << className;
}

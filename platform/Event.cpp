#include "platform/Event.h"

std::atomic<unsigned int> Event::numberOfEvents{0};

Event::Event(bool resetsAutomatically) : flagWord(0), autoReset(resetsAutomatically) {
  ++numberOfEvents;
}

Event::~Event() {
  --numberOfEvents;
}

unsigned int Event::WaitOr(unsigned int flags, std::chrono::duration<std::int64_t, std::micro> timeout) {
  const std::int64_t milliseconds = timeout.count() / 1000;
  if (milliseconds <= 0) return WaitOr(flags, 0U);
  if (milliseconds >= NoTimeout) return WaitOr(flags, NoTimeout);
  return WaitOr(flags, static_cast<unsigned int>(milliseconds));
}

bool Event::IsSignalled(unsigned int flags) const {
  return (flagWord & flags) != 0;
}

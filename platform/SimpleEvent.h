// A pause. Nobody can signal the event that it owns, so a wait always lasts until its time-out.
#pragma once

#include <memory>

#include "platform/Event.h"

class SimpleEvent final {
 public:
  // Takes ownership of `ownEvent`, which must not be empty.
  explicit SimpleEvent(std::unique_ptr<Event> ownEvent);

  // Sleeps for `timeout` + 1 milliseconds; for ever with Event::NoTimeout; not at all with 0 or when the
  // event could not be made. Returns whether the event was signalled: false.
  bool Wait(unsigned int timeout);

 private:
  std::unique_ptr<Event> event;
};

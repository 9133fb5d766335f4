// A pause. The event it owns can be signalled by nobody, so a wait always runs to its time-out.
#pragma once

#include <memory>

#include "platform/Event.h"

class SimpleEvent {
 public:
  // Takes `ownEvent` over, which must not be empty.
  explicit SimpleEvent(std::unique_ptr<Event> ownEvent);

  // Sleeps for `timeout` + 1 milliseconds, for ever with Event::NoTimeout. Whether the event was signalled:
  // false. Returns at once when the event could not be made.
  bool Wait(unsigned int timeout);

 private:
  std::unique_ptr<Event> event;
};

#include "platform/SimpleEvent.h"

#include <utility>

namespace {

constexpr unsigned int SignalledFlag = 1;

}  // namespace

SimpleEvent::SimpleEvent(std::unique_ptr<Event> ownEvent) : event(std::move(ownEvent)) {}

bool SimpleEvent::Wait(unsigned int timeout) {
  return event->WaitOr(SignalledFlag, timeout) != 0;
}

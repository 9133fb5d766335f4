#include "platform/EventFactory.h"

#include "platform/PosixEvent.h"

std::shared_ptr<Event> EventFactory::GetSharedEvent(bool autoReset) {
  return std::make_shared<PosixEvent>(autoReset);
}

std::unique_ptr<Event> EventFactory::GetUniqueEvent(bool autoReset) {
  return std::make_unique<PosixEvent>(autoReset);
}

std::unique_ptr<SimpleEvent> EventFactory::GetUniqueSimpleEvent(bool autoReset) {
  return std::make_unique<SimpleEvent>(GetUniqueEvent(autoReset));
}

std::unique_ptr<SimpleEvent> EventFactory::GetUniqueSimpleEvent(Reset reset) {
  return GetUniqueSimpleEvent(reset == Reset::AutoReset);
}

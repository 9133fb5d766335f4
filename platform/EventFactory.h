// Makes events, which the caller owns. Any thread may call.
#pragma once

#include <memory>

#include "platform/Event.h"
#include "platform/SimpleEvent.h"

class EventFactory final {
 public:
  enum class Reset : unsigned int { AutoReset = 0, ManualReset = 1 };

  EventFactory() = delete;

  [[nodiscard]] static std::shared_ptr<Event> GetSharedEvent(bool autoReset);
  [[nodiscard]] static std::unique_ptr<Event> GetUniqueEvent(bool autoReset);
  [[nodiscard]] static std::unique_ptr<SimpleEvent> GetUniqueSimpleEvent(bool autoReset);
  // Every value but AutoReset means manual reset.
  [[nodiscard]] static std::unique_ptr<SimpleEvent> GetUniqueSimpleEvent(Reset reset);
};

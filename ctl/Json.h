// JSON as brindlectl prints it.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

using Json = nlohmann::ordered_json;

// Null for what has no value.
template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

// Prints the value and ends the line. Bytes that are no UTF-8 become replacement characters.
inline void Print(const Json& value, std::ostream& output) {
  output << value.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

// The system calls with which brindlectl reads and keeps host files, in the hands of a test.
#pragma once

#include <functional>
#include <string>

namespace HostCalls {

// Called before each of them with what it does: "read", "create", "write", "flush file", "rename", "unlink",
// "flush folder". Returns whether the call is to fail.
extern std::function<bool(const std::string& call)> onCall;

// Every call succeeds again.
void Reset();

}  // namespace HostCalls

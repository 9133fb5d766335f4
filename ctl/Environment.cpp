#include "ctl/Environment.h"

void PrintMessage(const Environment& environment, const std::string& message) {
  environment.messages << ProgramName << ": " << message << std::endl;
}

// The commands of brindlectl. Each returns its exit code, or throws Failure; another
// std::exception stands for exit code 5.
#pragma once

#include "ctl/Arguments.h"
#include "ctl/Environment.h"
#include "platform/ExitCode.h"

ExitCode List(const Arguments& arguments, const Environment& environment);
ExitCode Check(const Arguments& arguments, const Environment& environment);
ExitCode Extract(const Arguments& arguments, const Environment& environment);
ExitCode Diff(const Arguments& arguments, const Environment& environment);
ExitCode Build(const Arguments& arguments, const Environment& environment);
ExitCode Update(const Arguments& arguments, const Environment& environment);
ExitCode Recover(const Arguments& arguments, const Environment& environment);
ExitCode Doctor(const Arguments& arguments, const Environment& environment);

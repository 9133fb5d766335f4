// The commands of brindlectl. Each returns its exit code, or throws Failure.
#pragma once

#include "ctl/Command.h"

ExitCode List(Arguments const& arguments, Environment const& environment);
ExitCode Check(Arguments const& arguments, Environment const& environment);
ExitCode Extract(Arguments const& arguments, Environment const& environment);
ExitCode Diff(Arguments const& arguments, Environment const& environment);
ExitCode Build(Arguments const& arguments, Environment const& environment);
ExitCode Update(Arguments const& arguments, Environment const& environment);
ExitCode Recover(Arguments const& arguments, Environment const& environment);
ExitCode Doctor(Arguments const& arguments, Environment const& environment);

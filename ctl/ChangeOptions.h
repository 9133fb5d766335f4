// The options that ask for changes to the content of an EEPROM.
#pragma once

#include "content/Changes.h"
#include "ctl/Arguments.h"
#include "ctl/Environment.h"

// Returns whether any of the options that ReadChanges knows is given.
[[nodiscard]] bool HasChanges(const Arguments& arguments);

// Returns the changes that the options "file" (TYPE=PATH), "remove" (TYPE), "revision" and "developer" ask
// for, with the host files read. Throws Failure: 22 for a bad value, 5 for a file that cannot be read.
[[nodiscard]] Changes ReadChanges(const Arguments& arguments, const Environment& environment);

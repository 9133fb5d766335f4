// The exit codes of the programs. They are the Linux error numbers of the same meaning, where there is one.
#pragma once

enum class ExitCode : int {
  Success = 0,           // done, or nothing differs, or nothing is wrong
  Found = 1,             // differences or problems were found; of brindlectl alone
  Failed = 5,            // EIO: something could not be read, written or stored
  NotAccessible = 19,    // ENODEV: no EEPROM could be reached
  InvalidArguments = 22  // EINVAL: nothing was done
};

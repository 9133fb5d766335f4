// Makes sure of what Brindle's decisions about a chip rest on.
#pragma once

#include <bitset>

#include "content/CachedEeprom.h"

// Confirms the pages that one reading does not settle: page 0 with settings and table, which have no
// checksum; images whose checksum is wrong; and, where start-up looks for an unlisted peripheral
// configuration file, the place reserved for it, unless it is blank or holds that file. What is settled by
// its checksum or not needed is read once or not at all. Throws as CachedEeprom::Confirm does.
void ConfirmContent(CachedEeprom& reading);

// Returns the bytes of the images that Brindle can read. Their checksums show that they were read right.
[[nodiscard]] std::bitset<EepromSize> IntactBytes(Eeprom& eeprom);

// Prepares the process. To be called once, before anything else and with no other thread running.
#pragma once

// Opens closed standard descriptors on /dev/null, so that no device node takes their place and receives the
// program's output. Ignores SIGPIPE and SIGXFSZ: their causes show as failed writes.
void PrepareProcess();

// What the process needs before anything else happens in it. Called once, with no other thread running.
#pragma once

// Opens closed standard descriptors on /dev/null, so that no device node takes their place and receives the
// program's output. Ignores SIGPIPE and SIGXFSZ: what they tell shows as a failed write.
void PrepareProcess();

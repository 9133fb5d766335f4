/* SPDX-License-Identifier: GPL-2.0 OR MIT */
/* The faults that a chip of the model can be told to have, and their names. Plain C, as the model itself. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* The C names of a model that a kernel module shares. */
/* NOLINTBEGIN(readability-identifier-naming) */

/* What goes wrong. Messages are numbered from 1 in the order in which they reach the chip's slave addresses,
 * refused ones included; page writes are numbered from 1 likewise. No fault strikes while the chip is
 * unpowered or in a write cycle. */
enum chip_fault_kind {
  CHIP_FAULT_NONE = 0,

  /* By the number of the message. */
  CHIP_FAULT_REFUSE,      /* refuse: not acknowledged, so the transfer fails and changes nothing */
  CHIP_FAULT_REFUSE_LATE, /* refuse-late: a read advances the counter by its length, then fails;
                             a write is refused as with CHIP_FAULT_REFUSE */
  CHIP_FAULT_SHORT,       /* short: ends after at most `parameter` bytes of the message (address bytes
                             count); what came before is kept: data is stored, the counter advances */
  CHIP_FAULT_FLIP,        /* flip: bit `parameter` % 8 of byte `parameter` / 8 flips on the wire */
  CHIP_FAULT_DROP,        /* drop: a write is acknowledged but not stored; the write cycle runs */
  CHIP_FAULT_STUCK,       /* stuck: the counter does not advance during the message */
  CHIP_FAULT_FOREIGN,     /* foreign: another master has set the counter to `parameter` before it */

  /* By the number of the page write. The message is acknowledged, then the power fails. */
  CHIP_FAULT_POWER_NOTHING, /* power-nothing: nothing of the page is stored */
  CHIP_FAULT_POWER_FIRST,   /* power-first: the first `parameter` data bytes are stored */
  CHIP_FAULT_POWER_GROUPS,  /* power-groups: of the data sent, only aligned groups of 4 bytes are stored:
                               the i-th of the page if bit i of `parameter` is set */
  CHIP_FAULT_POWER_ANYTHING /* power-anything: the whole page, not only the bytes sent, is erased (0xFF) if
                               `parameter` is 0, and else holds bytes that follow from it alone; a chip
                               erases before it programs and promises nothing for an interrupted cycle */
};

/* `met` counts the messages or page writes in which the fault changed something: a SHORT or FLIP beyond the
 * message's end and a DROP of a read do not count. A loop over all numbers ends when `messages` or
 * `page_writes` stays below `first`. */
struct chip_fault {
  enum chip_fault_kind kind;
  unsigned long long first;     /* number of the first message or page write that it strikes, from 1 */
  unsigned long long count;     /* how many in a row; 0 means for ever */
  unsigned long long parameter; /* as the kind says */
  unsigned long long met;       /* counted by the model */
};

/* Parses KIND:FIRST[:COUNT[:PARAMETER]] at the start of `text`: a name from above and numbers, decimal or
 * hexadecimal with 0x; COUNT is 1 and PARAMETER 0 by default. Returns a pointer to the first character that
 * is no part of it, or null if `text` does not begin with a fault; `fault` is undefined then. */
const char* chip_fault_parse(const char* text, struct chip_fault* fault);

/* NOLINTEND(readability-identifier-naming) */

#ifdef __cplusplus
}
#endif

/* SPDX-License-Identifier: GPL-2.0 OR MIT */
/*
 * The rules of two serial EEPROM chips on an I2C bus, CAT24C256 and CAT24C16, as their data sheets give them.
 *
 * The emulated board, the tests and a kernel module share the model, so it is plain C without library calls
 * and without allocation: the caller passes the memory and the time of each message. Addresses and lengths
 * are in bytes, times in nanoseconds on any monotonic clock. One thread at a time may use a model.
 *
 * The rules:
 *  - A write carries the memory address first: two bytes, high byte first (CAT24C256), or one byte, with
 *    bits 8 to 10 in the low three bits of the slave address (CAT24C16, which answers at eight of them).
 *  - A write wraps within its page of 64 (CAT24C256) or 16 bytes (CAT24C16): if it is longer than a page,
 *    later bytes overwrite earlier ones.
 *  - The bytes are stored when the message ends. Then the write cycle begins (t_WR, 5 ms at most), during
 *    which the chip acknowledges nothing.
 *  - A message of an address alone only sets the address counter. An empty message, or one that ends within
 *    the address, is just acknowledged.
 *  - A read continues at the address counter, which keeps its value between messages, points after the last
 *    byte read or written, and wraps at the end of the memory. The CAT24C16 takes bits 8 to 10 of the
 *    counter from the slave address of every message.
 */
#pragma once

#include "chip/chip_fault.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The C names of a model that a kernel module shares. */
/* NOLINTBEGIN(readability-identifier-naming) */
enum chip_kind { CHIP_CAT24C16 = 0, CHIP_CAT24C256 = 1 };

enum { CHIP_FAULTS = 4 };

struct chip_model {
  enum chip_kind kind;
  unsigned char* memory;          /* chip_model_size() bytes, owned by the caller */
  unsigned int slave;             /* 7-bit slave address; a CAT24C16 answers at all eight of its group */
  int refusal;                    /* negative result of a refused message; -6 (-ENXIO) after init */
  unsigned long long write_cycle; /* 5,000,000 after init */
  unsigned int counter;           /* address counter */
  unsigned long long busy_until;  /* end of the write cycle */
  int powered;                    /* a chip without power answers nothing */
  struct chip_fault faults[CHIP_FAULTS];

  /* Counted since init. */
  unsigned long long messages;    /* that reached the chip's slave addresses */
  unsigned long long refused;     /* of those, not acknowledged for any reason */
  unsigned long long busy;        /* of those, because of the write cycle */
  unsigned long long bytes;       /* transferred either way, address bytes included */
  unsigned long long page_writes; /* begun, a dropped one and one cut by the power included */
};

struct chip_rules {
  unsigned int size; /* of the whole memory, a power of two */
  unsigned int page;
  unsigned int address_bytes;
  unsigned int slaves; /* a power of two: the group of slave addresses at which the chip answers */
};

const struct chip_rules* chip_model_rules(enum chip_kind kind);

/* Returns the size of the whole memory in bytes, a power of two. */
unsigned int chip_model_size(enum chip_kind kind);

/* Powers up a chip with this memory, which is left as it is. No faults, all counts 0, counter 0. */
void chip_model_init(struct chip_model* chip, enum chip_kind kind, unsigned char* memory, unsigned int slave);

/* Powers the chip up again: the counter is lost (0), no write cycle runs. Faults and counts stay, so a power
 * fault strikes again only if its `count` covers the next page writes too. */
void chip_model_power_on(struct chip_model* chip);

/* Returns whether messages to `slave` reach this chip. */
int chip_model_answers_at(const struct chip_model* chip, unsigned int slave);

/* Performs one message, from its start or repeated start to its end. Returns how many of `length` bytes were
 * transferred, or the negative `refusal`. The chip must answer at `slave`. */
int chip_model_write(struct chip_model* chip, unsigned int slave, const unsigned char* data,
                     unsigned int length, unsigned long long now);
int chip_model_read(struct chip_model* chip, unsigned int slave, unsigned char* data, unsigned int length,
                    unsigned long long now);

/* NOLINTEND(readability-identifier-naming) */

#ifdef __cplusplus
}
#endif

/* SPDX-License-Identifier: GPL-2.0 OR MIT */
/*
 * The rules of two serial EEPROM chips on an I2C bus, CAT24C256 and CAT24C16, as their data sheets give them.
 *
 * One model serves the emulated board, the tests and a kernel module, so it is plain C without library calls
 * and without allocation: the caller hands in the memory and the time of each message. Addresses and lengths
 * are in bytes, times in nanoseconds on any clock that never goes back. A model is used by one thread at a
 * time.
 *
 * What the model keeps:
 *  - A write carries the memory address first: two bytes, high byte first (CAT24C256), or one byte, with
 *    bits 8 to 10 in the low three bits of the slave address (CAT24C16, which answers at eight of them).
 *  - A write wraps inside its page of 64 (CAT24C256) or 16 bytes (CAT24C16): of more bytes than a page
 *    holds, the last ones stay.
 *  - The bytes are stored when the message ends. Then the write cycle begins (t_WR, 5 ms at most), in which
 *    the chip answers nothing at all.
 *  - A message of an address alone only sets the address counter. An empty message, or one that ends within
 *    the address, is just acknowledged.
 *  - A read goes on from the address counter, which survives between messages, follows the last byte read
 *    or written, and wraps at the end of the memory. The CAT24C16 takes bits 8 to 10 of the counter from
 *    the slave address of every message.
 */
#ifndef CHIP_CHIP_MODEL_H
#define CHIP_CHIP_MODEL_H

#ifdef __cplusplus
extern "C" {
#endif

/* The C names of a model that a kernel module shares. */
/* NOLINTBEGIN(readability-identifier-naming) */
enum chip_kind { CHIP_CAT24C16 = 0, CHIP_CAT24C256 = 1 };

enum { CHIP_PAGE_MAX = 64, CHIP_FAULTS = 4 };

/* What goes wrong. Messages are numbered from 1 in the order in which they reach the chip's own slave
 * addresses, refused ones included; page writes are numbered from 1 likewise. A chip that answers nothing
 * anyway, without power or in its write cycle, meets no fault. */
enum chip_fault_kind {
  CHIP_FAULT_NONE = 0,

  /* By the number of the message. */
  CHIP_FAULT_REFUSE,      /* not acknowledged: the transfer fails with `refusal` and changes nothing */
  CHIP_FAULT_REFUSE_LATE, /* a read: the counter moves on as if it was read, then the transfer fails;
                             a write: as CHIP_FAULT_REFUSE */
  CHIP_FAULT_SHORT,       /* ends after at most `parameter` bytes of the message (address bytes count);
                             what came before is kept: data is stored, the counter moves */
  CHIP_FAULT_FLIP,        /* bit `parameter` % 8 of byte `parameter` / 8 of the message flips on the wire */
  CHIP_FAULT_DROP,        /* a write is acknowledged, its data is not stored; the write cycle runs */
  CHIP_FAULT_STUCK,       /* the counter does not move on from byte to byte of the message */
  CHIP_FAULT_FOREIGN,     /* just before the message somebody else leaves the counter at `parameter` */

  /* By the number of the page write. The message is acknowledged, then the power goes. */
  CHIP_FAULT_POWER_NOTHING, /* nothing of the page is stored */
  CHIP_FAULT_POWER_FIRST,   /* its first `parameter` data bytes are stored */
  CHIP_FAULT_POWER_GROUPS   /* bit i of `parameter` tells whether the i-th aligned group of 4 bytes of the
                               page is stored as far as it was sent */
};

/* `met` counts the messages or page writes in which the fault changed something: a SHORT or FLIP beyond the
 * message's end and a DROP on a read don't count. A loop over all numbers ends when `messages` or
 * `page_writes` stays below `first`. */
struct chip_fault {
  enum chip_fault_kind kind;
  unsigned long long first;     /* number of the first message or page write that it strikes, from 1 */
  unsigned long long count;     /* how many in a row; 0 means for ever */
  unsigned long long parameter; /* as the kind says */
  unsigned long long met;       /* counted by the model */
};

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
  unsigned long long bytes;       /* moved either way, address bytes included */
  unsigned long long page_writes; /* begun, a dropped one and one cut by the power included */
};

/* Bytes of the whole memory and of a page; both are powers of two. */
unsigned int chip_model_size(enum chip_kind kind);
unsigned int chip_model_page(enum chip_kind kind);

/* Powers up a chip over `memory`, which is left as it is. No faults, all counts 0, counter 0. */
void chip_model_init(struct chip_model* chip, enum chip_kind kind, unsigned char* memory, unsigned int slave);

/* Power returns: the counter is lost (0), no write cycle runs. Faults and counts stay: page writes are
 * numbered on, so a power fault strikes again only where its `count` covers the next numbers too. */
void chip_model_power_on(struct chip_model* chip);

/* Whether messages to `slave` reach this chip. */
int chip_model_answers_at(const struct chip_model* chip, unsigned int slave);

/* One message, from its start or repeated start to its end. Returns how many of `length` bytes were moved, or
 * the negative `refusal`. Only to be called for a slave address at which the chip answers. */
int chip_model_write(struct chip_model* chip, unsigned int slave, const unsigned char* data,
                     unsigned int length, unsigned long long now);
int chip_model_read(struct chip_model* chip, unsigned int slave, unsigned char* data, unsigned int length,
                    unsigned long long now);

/* NOLINTEND(readability-identifier-naming) */

#ifdef __cplusplus
}
#endif

#endif

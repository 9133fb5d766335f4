/* SPDX-License-Identifier: GPL-2.0 OR MIT */
#include "chip/chip_model.h"

/* NOLINTBEGIN(readability-identifier-naming) */

/* CAT24C16 and CAT24C256 data sheets: device address, page write, memory organization. */
static const struct chip_rules rules[] = {{2048, 16, 1, 8}, {32768, 64, 2, 1}};

static const struct chip_rules* rules_of(const struct chip_model* chip) {
  return &rules[chip->kind];
}

const struct chip_rules* chip_model_rules(enum chip_kind kind) {
  return &rules[kind];
}

unsigned int chip_model_size(enum chip_kind kind) {
  return rules[kind].size;
}

void chip_model_init(struct chip_model* chip, enum chip_kind kind, unsigned char* memory,
                     unsigned int slave) {
  static const struct chip_model fresh;

  *chip = fresh;
  chip->kind = kind;
  chip->memory = memory;
  chip->slave = slave;
  chip->refusal = -6;
  chip->write_cycle = 5000000;
  chip->powered = 1;
}

void chip_model_power_on(struct chip_model* chip) {
  chip->counter = 0;
  chip->busy_until = 0;
  chip->powered = 1;
}

int chip_model_answers_at(const struct chip_model* chip, unsigned int slave) {
  return ((slave ^ chip->slave) & ~(rules_of(chip)->slaves - 1)) == 0;
}

static int strikes(const struct chip_fault* fault, enum chip_fault_kind kind, unsigned long long number) {
  return fault->kind == kind && number >= fault->first &&
         (fault->count == 0 || number - fault->first < fault->count);
}

/* Returns the first fault of a kind that strikes the present message, or null. */
static struct chip_fault* message_fault(struct chip_model* chip, enum chip_fault_kind kind) {
  unsigned int i;

  for (i = 0; i < CHIP_FAULTS; ++i) {
    if (strikes(&chip->faults[i], kind, chip->messages)) return &chip->faults[i];
  }
  return 0;
}

/* Counts and returns whether such a fault strikes the present message, in which it changes something. */
static int meets(struct chip_model* chip, enum chip_fault_kind kind) {
  struct chip_fault* fault = message_fault(chip, kind);

  if (fault) ++fault->met;
  return fault != 0;
}

static int refuse(struct chip_model* chip) {
  ++chip->refused;
  return chip->refusal;
}

/* The slave address carries the high bits of the memory address on a chip with one address byte. */
static unsigned int with_slave_bits(const struct chip_model* chip, unsigned int slave, unsigned int low) {
  const struct chip_rules* chip_rules = rules_of(chip);

  if (chip_rules->address_bytes == 2) return low & (chip_rules->size - 1);
  return ((slave & (chip_rules->slaves - 1)) << 8) | (low & 0xFF);
}

/* Starts a message. Returns whether the chip acknowledges its slave address. */
static int begin(struct chip_model* chip, unsigned int slave, unsigned long long now) {
  struct chip_fault* foreign;

  ++chip->messages;
  if (!chip->powered) return 0;
  if (now < chip->busy_until) {
    ++chip->busy;
    return 0;
  }
  foreign = message_fault(chip, CHIP_FAULT_FOREIGN);
  if (foreign) {
    chip->counter = (unsigned int)foreign->parameter & (rules_of(chip)->size - 1);
    ++foreign->met;
  }
  if (meets(chip, CHIP_FAULT_REFUSE)) return 0;
  chip->counter = with_slave_bits(chip, slave, chip->counter);
  return 1;
}

/* Returns how many of the message's bytes are transferred. */
static unsigned int moved_bytes(struct chip_model* chip, unsigned int length) {
  struct chip_fault* fault = message_fault(chip, CHIP_FAULT_SHORT);

  if (!fault || fault->parameter >= length) return length;
  ++fault->met;
  return (unsigned int)fault->parameter;
}

/* Returns the index of the message's byte in which a bit flips, or `length`. */
static unsigned int flipped_byte(struct chip_model* chip, unsigned int length, unsigned char* mask) {
  struct chip_fault* fault = message_fault(chip, CHIP_FAULT_FLIP);

  *mask = 0;
  if (!fault || (fault->parameter >> 3) >= length) return length;
  ++fault->met;
  *mask = (unsigned char)(1U << (fault->parameter & 7));
  return (unsigned int)(fault->parameter >> 3);
}

/* Returns the power fault that cuts the present page write, or null. */
static struct chip_fault* power_fault(struct chip_model* chip) {
  unsigned int i;
  struct chip_fault* fault;

  for (i = 0; i < CHIP_FAULTS; ++i) {
    fault = &chip->faults[i];
    if (fault->kind >= CHIP_FAULT_POWER_NOTHING && strikes(fault, fault->kind, chip->page_writes)) {
      return fault;
    }
  }
  return 0;
}

/* Returns whether the data byte of this index, for this offset in the page, is stored despite the cut. */
static int survives(const struct chip_fault* cut, unsigned int index, unsigned int offset) {
  if (!cut) return 1;
  if (cut->kind == CHIP_FAULT_POWER_FIRST) return index < cut->parameter;
  return cut->kind == CHIP_FAULT_POWER_GROUPS && ((cut->parameter >> (offset >> 2)) & 1) != 0;
}

/* Fills a page whose write cycle was interrupted: with 0xFF for the seed 0, else with pseudo-random bytes. */
static void scramble(unsigned char* page, unsigned int length, unsigned long long seed) {
  unsigned long long state = seed;
  unsigned int i;

  for (i = 0; i < length; ++i) {
    /* Knuth's MMIX generator, whose high bits are the random ones. */
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    page[i] = seed ? (unsigned char)(state >> 56) : 0xFF;
  }
}

/* Stores `length` data bytes from the counter on and starts the write cycle. `flip` is an index in `data`. */
static void write_page(struct chip_model* chip, const unsigned char* data, unsigned int length,
                       unsigned int flip, unsigned char mask, unsigned long long now) {
  unsigned int page = rules_of(chip)->page;
  unsigned int base = chip->counter & ~(page - 1);
  int stuck = length > 0 && meets(chip, CHIP_FAULT_STUCK);
  int dropped = meets(chip, CHIP_FAULT_DROP);
  unsigned int offset = chip->counter & (page - 1);
  unsigned int last = offset;
  unsigned int i;
  struct chip_fault* cut;

  ++chip->page_writes;
  cut = power_fault(chip);
  for (i = 0; i < length; ++i) {
    last = offset;
    if (!dropped && survives(cut, i, offset)) {
      chip->memory[base + offset] = (unsigned char)(data[i] ^ (i == flip ? mask : 0));
    }
    if (!stuck) offset = (offset + 1) & (page - 1);
  }
  if (!stuck) chip->counter = (base + last + 1) & (rules_of(chip)->size - 1);
  chip->busy_until = now + chip->write_cycle;
  if (!cut) return;
  if (cut->kind == CHIP_FAULT_POWER_ANYTHING && !dropped) scramble(chip->memory + base, page, cut->parameter);
  ++cut->met;
  chip->powered = 0;
}

int chip_model_write(struct chip_model* chip, unsigned int slave, const unsigned char* data,
                     unsigned int length, unsigned long long now) {
  unsigned int address_bytes = rules_of(chip)->address_bytes;
  unsigned int address = 0;
  unsigned int moved;
  unsigned int flip;
  unsigned int i;
  unsigned char mask;

  if (!begin(chip, slave, now)) return refuse(chip);
  if (meets(chip, CHIP_FAULT_REFUSE_LATE)) return refuse(chip);
  moved = moved_bytes(chip, length);
  chip->bytes += moved;
  if (moved < address_bytes) return (int)moved;
  flip = flipped_byte(chip, moved, &mask);
  for (i = 0; i < address_bytes; ++i) address = (address << 8) | (data[i] ^ (i == flip ? mask : 0U));
  chip->counter = with_slave_bits(chip, slave, address);
  if (moved > address_bytes) {
    write_page(chip, data + address_bytes, moved - address_bytes, flip - address_bytes, mask, now);
  }
  return (int)moved;
}

int chip_model_read(struct chip_model* chip, unsigned int slave, unsigned char* data, unsigned int length,
                    unsigned long long now) {
  unsigned int last_byte = rules_of(chip)->size - 1;
  unsigned int moved;
  unsigned int flip;
  unsigned int i;
  unsigned char mask;
  int stuck;

  if (!begin(chip, slave, now)) return refuse(chip);
  if (meets(chip, CHIP_FAULT_REFUSE_LATE)) {
    chip->counter = (chip->counter + length) & last_byte;
    return refuse(chip);
  }
  moved = moved_bytes(chip, length);
  chip->bytes += moved;
  stuck = moved > 0 && meets(chip, CHIP_FAULT_STUCK);
  for (i = 0; i < moved; ++i) {
    data[i] = chip->memory[chip->counter];
    if (!stuck) chip->counter = (chip->counter + 1) & last_byte;
  }
  flip = flipped_byte(chip, moved, &mask);
  if (flip < moved) data[flip] = (unsigned char)(data[flip] ^ mask);
  return (int)moved;
}

/* NOLINTEND(readability-identifier-naming) */

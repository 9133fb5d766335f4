/* SPDX-License-Identifier: GPL-2.0 OR MIT */
#include "chip/chip_fault.h"

/* NOLINTBEGIN(readability-identifier-naming) */

static const char* const names[] = {
    [CHIP_FAULT_REFUSE] = "refuse",
    [CHIP_FAULT_REFUSE_LATE] = "refuse-late",
    [CHIP_FAULT_SHORT] = "short",
    [CHIP_FAULT_FLIP] = "flip",
    [CHIP_FAULT_DROP] = "drop",
    [CHIP_FAULT_STUCK] = "stuck",
    [CHIP_FAULT_FOREIGN] = "foreign",
    [CHIP_FAULT_POWER_NOTHING] = "power-nothing",
    [CHIP_FAULT_POWER_FIRST] = "power-first",
    [CHIP_FAULT_POWER_GROUPS] = "power-groups",
    [CHIP_FAULT_POWER_ANYTHING] = "power-anything",
};

/* Returns what follows `name` and a colon at the start of `text`, or null. */
static const char* skip_name(const char* text, const char* name) {
  for (; *name; ++name, ++text) {
    if (*text != *name) return 0;
  }
  return *text == ':' ? text + 1 : 0;
}

/* Returns the value of a hexadecimal digit, or 16. */
static unsigned int digit_value(char digit) {
  if (digit >= '0' && digit <= '9') return (unsigned int)(digit - '0');
  if (digit >= 'a' && digit <= 'f') return (unsigned int)(digit - 'a') + 10;
  if (digit >= 'A' && digit <= 'F') return (unsigned int)(digit - 'A') + 10;
  return 16;
}

/* Returns what follows the number at the start of `text`, or null if there is none or it exceeds 64 bits. */
static const char* parse_number(const char* text, unsigned long long* number) {
  int hexadecimal = text[0] == '0' && text[1] == 'x';
  unsigned int base = hexadecimal ? 16 : 10;
  /* Constant divisions: a 32-bit kernel has no other ones of 64 bits. */
  unsigned long long most = hexadecimal ? ~0ULL / 16 : ~0ULL / 10;
  unsigned int digit;

  if (hexadecimal) text += 2;
  if (digit_value(*text) >= base) return 0;
  for (*number = 0; (digit = digit_value(*text)) < base; ++text) {
    if (*number > most || *number * base > ~0ULL - digit) return 0;
    *number = *number * base + digit;
  }
  return text;
}

const char* chip_fault_parse(const char* text, struct chip_fault* fault) {
  unsigned long long* const more[] = {&fault->count, &fault->parameter};
  const char* rest = 0;
  unsigned int kind = CHIP_FAULT_NONE;
  unsigned int i;

  while (!rest && ++kind <= CHIP_FAULT_POWER_ANYTHING) rest = skip_name(text, names[kind]);
  if (!rest) return 0;
  fault->kind = (enum chip_fault_kind)kind;
  fault->count = 1;
  fault->parameter = 0;
  fault->met = 0;
  rest = parse_number(rest, &fault->first);
  for (i = 0; rest && *rest == ':' && i < 2; ++i) rest = parse_number(rest + 1, more[i]);
  return rest && fault->first > 0 ? rest : 0;
}

/* NOLINTEND(readability-identifier-naming) */

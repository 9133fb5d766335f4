// SPDX-License-Identifier: GPL-2.0 OR MIT
/*
 * Two I2C adapters with the names that the driver of the board's I2C controllers gives. The first has no
 * chips. On the second two CAT24C256 of the chip model answer, at 0x56 and 0x52, erased at load.
 *
 * A transfer takes as long as its bytes take on the wire. Parameters can be changed at any time.
 * Counters of 64 bits are in debugfs, in brindle_board/:
 *	scl_clocks		of both adapters: nine for each byte, slave addresses included
 *	SLAVE/messages		that reached the chip at SLAVE (0x56, 0x52)
 *	SLAVE/refused		of those, not acknowledged
 *	SLAVE/busy		of those, because the chip was in its write cycle
 *	SLAVE/bytes		moved either way, without the slave addresses
 *	SLAVE/page_writes
 */
#include <linux/debugfs.h>
#include <linux/delay.h>
#include <linux/i2c.h>
#include <linux/kernel.h>
#include <linux/ktime.h>
#include <linux/math.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#include "chip/chip_model.h"

#define CLOCKS_PER_BYTE 9
#define SLAVE_NAME_SIZE 5

static unsigned int write_cycle_us = 5000;
module_param(write_cycle_us, uint, 0644);
MODULE_PARM_DESC(write_cycle_us, "length of the chips' write cycle in microseconds");

static unsigned int clock_hz = 400000;
module_param(clock_hz, uint, 0644);
MODULE_PARM_DESC(clock_hz, "clock rate of the wire; 0: transfers take no time");

static const unsigned int slaves[] = {0x56, 0x52};
static struct chip_model chips[ARRAY_SIZE(slaves)];
static u64 scl_clocks;

/* Guards chips and scl_clocks. */
static DEFINE_MUTEX(board_lock);

static struct chip_fault faults[CHIP_FAULTS];

/* Numbers of messages and page writes count from now on. */
static void arm_faults(struct chip_model *chip)
{
	int i;

	for (i = 0; i < CHIP_FAULTS; i++) {
		chip->faults[i] = faults[i];
		chip->faults[i].first += faults[i].kind >= CHIP_FAULT_POWER_NOTHING
						 ? chip->page_writes
						 : chip->messages;
	}
	if (!chip->powered)
		chip_model_power_on(chip);
}

static int parse_faults(const char *list, struct chip_fault *parsed)
{
	int i;

	/* The shell's echo ends the value with a line feed. */
	for (i = 0; *list && *list != '\n'; i++) {
		if (i == CHIP_FAULTS)
			return -E2BIG;
		list = chip_fault_parse(list, &parsed[i]);
		if (!list || !strchr(",\n", *list))
			return -EINVAL;
		if (*list == ',')
			list++;
	}
	return 0;
}

static int set_faults(const char *value, const struct kernel_param *parameter)
{
	struct chip_fault parsed[CHIP_FAULTS] = {};
	int result = parse_faults(value, parsed);

	if (result)
		return result;

	mutex_lock(&board_lock);
	memcpy(faults, parsed, sizeof(faults));
	arm_faults(&chips[0]);
	mutex_unlock(&board_lock);
	return 0;
}

static const struct kernel_param_ops fault_ops = {.set = set_faults};
module_param_cb(faults, &fault_ops, NULL, 0200);
MODULE_PARM_DESC(faults,
		 "faults of the chip at 0x56, at most four: KIND:FIRST[:COUNT[:PARAMETER]],... "
		 "as in chip_fault.h, counted from the setting on; "
		 "setting also restores the chip's power");

static struct chip_model *chip_at(struct i2c_adapter *adapter, const struct i2c_msg *message)
{
	struct chip_model *attached = i2c_get_adapdata(adapter);
	int i;

	if (!attached || message->flags & I2C_M_TEN)
		return NULL;
	for (i = 0; i < ARRAY_SIZE(slaves); i++)
		if (chip_model_answers_at(&attached[i], message->addr))
			return &attached[i];
	return NULL;
}

/* Returns how many of the message's bytes were moved, or a negative error. */
static int ask_chip(struct chip_model *chip, struct i2c_msg *message)
{
	if (!chip)
		return -ENXIO;
	chip->write_cycle = 1000ULL * READ_ONCE(write_cycle_us);
	if (message->flags & I2C_M_RD)
		return chip_model_read(chip, chip->slave, message->buf, message->len,
				       ktime_get_ns());
	return chip_model_write(chip, chip->slave, message->buf, message->len, ktime_get_ns());
}

static void take_wire_time(unsigned int bytes)
{
	unsigned int hz = READ_ONCE(clock_hz);
	unsigned int clocks = CLOCKS_PER_BYTE * bytes;
	unsigned long us;

	scl_clocks += clocks;
	if (hz == 0)
		return;
	us = (unsigned long)DIV_ROUND_UP_ULL(clocks * 1ULL * USEC_PER_SEC, hz);
	usleep_range(us, us + 1);
}

static int transfer_message(struct i2c_adapter *adapter, struct i2c_msg *message)
{
	struct chip_model *chip = chip_at(adapter, message);
	unsigned long long page_writes;
	int moved;

	if (!chip) {
		take_wire_time(1);
		return -ENXIO;
	}
	page_writes = chip->page_writes;
	moved = ask_chip(chip, message);
	take_wire_time(1 + max(moved, 0));
	/* The chip was asked at the message's start; its write cycle begins at the end. */
	if (chip->page_writes != page_writes)
		chip->busy_until = ktime_get_ns() + chip->write_cycle;
	/* A byte that is not acknowledged ends a transfer as a refused address does. */
	return moved == message->len ? 0 : chip->refusal;
}

static int transfer(struct i2c_adapter *adapter, struct i2c_msg *messages, int count)
{
	int result = 0;
	int i;

	mutex_lock(&board_lock);
	for (i = 0; i < count && result == 0; i++)
		result = transfer_message(adapter, &messages[i]);
	mutex_unlock(&board_lock);
	return result ? result : count;
}

static u32 functionality(struct i2c_adapter *adapter)
{
	return I2C_FUNC_I2C | I2C_FUNC_10BIT_ADDR | I2C_FUNC_SMBUS_EMUL;
}

static const struct i2c_algorithm algorithm = {
	.master_xfer = transfer,
	.functionality = functionality,
};

static const phys_addr_t bases[] = {0x40130000, 0x40150000};
static struct i2c_adapter adapters[ARRAY_SIZE(bases)];
static struct dentry *counters;

static void show_counters(struct chip_model *chip)
{
	char name[SLAVE_NAME_SIZE];
	struct dentry *folder;

	snprintf(name, sizeof(name), "0x%02x", chip->slave);
	folder = debugfs_create_dir(name, counters);
	debugfs_create_u64("messages", 0444, folder, &chip->messages);
	debugfs_create_u64("refused", 0444, folder, &chip->refused);
	debugfs_create_u64("busy", 0444, folder, &chip->busy);
	debugfs_create_u64("bytes", 0444, folder, &chip->bytes);
	debugfs_create_u64("page_writes", 0444, folder, &chip->page_writes);
}

static void free_chips(void)
{
	int i;

	for (i = 0; i < ARRAY_SIZE(chips); i++)
		vfree(chips[i].memory);
}

static int make_chips(void)
{
	unsigned int size = chip_model_size(CHIP_CAT24C256);
	unsigned char *memory;
	int i;

	for (i = 0; i < ARRAY_SIZE(chips); i++) {
		memory = vmalloc(size);
		if (!memory) {
			free_chips();
			return -ENOMEM;
		}
		memset(memory, 0xFF, size);
		chip_model_init(&chips[i], CHIP_CAT24C256, memory, slaves[i]);
	}
	arm_faults(&chips[0]);
	return 0;
}

static int add_adapter(struct i2c_adapter *adapter, phys_addr_t base, struct chip_model *attached)
{
	adapter->owner = THIS_MODULE;
	adapter->algo = &algorithm;
	snprintf(adapter->name, sizeof(adapter->name), "STM32F7 I2C(%pa)", &base);
	i2c_set_adapdata(adapter, attached);
	return i2c_add_adapter(adapter);
}

static int add_adapters(void)
{
	int result = add_adapter(&adapters[0], bases[0], NULL);

	if (result)
		return result;
	result = add_adapter(&adapters[1], bases[1], chips);
	if (result)
		i2c_del_adapter(&adapters[0]);
	return result;
}

static int __init board_init(void)
{
	int result = make_chips();
	int i;

	if (result)
		return result;
	result = add_adapters();
	if (result) {
		free_chips();
		return result;
	}
	counters = debugfs_create_dir(KBUILD_MODNAME, NULL);
	debugfs_create_u64("scl_clocks", 0444, counters, &scl_clocks);
	for (i = 0; i < ARRAY_SIZE(chips); i++)
		show_counters(&chips[i]);
	return 0;
}

static void __exit board_exit(void)
{
	int i;

	debugfs_remove(counters);
	for (i = 0; i < ARRAY_SIZE(adapters); i++)
		i2c_del_adapter(&adapters[i]);
	free_chips();
}

module_init(board_init);
module_exit(board_exit);
MODULE_DESCRIPTION("Board EEPROM on an emulated I2C controller");
MODULE_AUTHOR("The Brindle maintainers");
MODULE_LICENSE("Dual MIT/GPL");

/* SPDX-License-Identifier: GPL-2.0 */
#ifndef RYNVEL_BOARD_REGISTERS_H
#define RYNVEL_BOARD_REGISTERS_H

#include <linux/mutex.h>
#include <linux/types.h>

struct dentry;

/* The registers of a device as a block of bytes. The lock is the device's. */
struct board_registers {
	struct mutex *lock;
	u8 *bytes;
	size_t size;
};

/* Transfer from and to user space as a file does. The caller holds the lock. */
ssize_t board_registers_read(struct board_registers *registers, char __user *user, size_t length,
			     loff_t *pos);
ssize_t board_registers_write(struct board_registers *registers, const char __user *user,
			      size_t length, loff_t *pos);

/* Adds the file "registers" to "parent", through which a test sees and changes them. */
void board_registers_create(struct board_registers *registers, struct dentry *parent);

#endif

/* SPDX-License-Identifier: GPL-2.0-only */
#ifndef RYNVEL_BOARD_REGISTERS_H
#define RYNVEL_BOARD_REGISTERS_H

#include <linux/mutex.h>
#include <linux/types.h>

struct dentry;

/* The registers of a device as bytes. "size" is in bytes. "lock" is the lock of the device. */
struct board_registers {
    struct mutex* lock;
    u8* bytes;
    size_t size;
};

/*
 * Copies registers from "*pos" to user space, or from user space to "*pos", and advances "*pos".
 * Returns the number of bytes, or a negative error number. At or beyond the end, a read returns 0
 * and a write returns -ENOSPC. The caller holds the lock.
 */
ssize_t board_registers_read(struct board_registers* registers, char __user* user, size_t length, loff_t* pos);
ssize_t board_registers_write(struct board_registers* registers, const char __user* user, size_t length, loff_t* pos);

/* Adds the file "registers" to "parent", through which a test reads and writes the registers. */
void board_registers_create(struct board_registers* registers, struct dentry* parent);

#endif

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
 * Copy bytes at a position to or from user space, and advance the position. The functions return
 * the number of bytes, or a negative error number. At the end, a read returns 0 and a write returns
 * -ENOSPC. The caller holds the lock.
 */
ssize_t board_registers_read(struct board_registers* registers, char __user* user, size_t length, loff_t* pos);
ssize_t board_registers_write(struct board_registers* registers, const char __user* user, size_t length, loff_t* pos);

/* Adds the file "registers" to "parent". A test reads and writes the registers with this file. */
void board_registers_create(struct board_registers* registers, struct dentry* parent);

#endif

/* SPDX-License-Identifier: GPL-2.0-only */
#ifndef RYNVEL_BOARD_UIO_H
#define RYNVEL_BOARD_UIO_H

#include <linux/mutex.h>
#include <linux/types.h>
#include <linux/uio_driver.h>

#include "board_probe.h"

/*
 * A UIO device with its test files. The function "set_enabled" enables or disables the interrupt.
 * Set this function, and the map and the interrupt in "info", before you call board_uio_add().
 */
struct board_uio {
    struct uio_info info;
    struct mutex lock;            /* guards the probes; held while set_enabled is called */
    struct board_probe probes[2]; /* index: false for disabling, true for enabling */
    u8 enabled;
    void (*set_enabled)(struct board_uio* uio, bool enabled);
    struct dentry* debugfs;
};

/* Registers the device and adds its test files. Returns 0 or a negative error number. */
int board_uio_add(struct board_uio* uio, const char* name, struct device* parent);
void board_uio_remove(struct board_uio* uio);

#endif

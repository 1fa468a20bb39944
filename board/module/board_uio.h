/* SPDX-License-Identifier: GPL-2.0 */
#ifndef RYNVEL_BOARD_UIO_H
#define RYNVEL_BOARD_UIO_H

#include <linux/mutex.h>
#include <linux/types.h>
#include <linux/uio_driver.h>

#include "board_probe.h"

/*
 * What all UIO devices have in common: the test files, and the enabling and disabling of the
 * interrupt. Before board_uio_add the owner sets the map and the interrupt in "info" and the
 * function that carries out an enabling or disabling.
 */
struct board_uio {
	struct uio_info info;
	struct mutex lock; /* guards the probes; held while set_enabled is called */
	struct board_probe probes[2]; /* of disabling and of enabling */
	u8 enabled;
	void (*set_enabled)(struct board_uio *uio, bool enabled);
	struct dentry *debugfs;
};

int board_uio_add(struct board_uio *uio, const char *name, struct device *parent);
void board_uio_remove(struct board_uio *uio);

#endif

// SPDX-License-Identifier: GPL-2.0-only
#include <linux/debugfs.h>
#include <linux/kernel.h>
#include <linux/module.h>

#include "board.h"
#include "board_uio.h"

static int board_uio_irqcontrol(struct uio_info *info, s32 irq_on)
{
	struct board_uio *uio = container_of(info, struct board_uio, info);
	bool enabled = irq_on;
	int error;

	mutex_lock(&uio->lock);
	error = board_probe_call(&uio->probes[enabled], NULL);
	if (!error)
		uio->set_enabled(uio, enabled);
	mutex_unlock(&uio->lock);
	return error;
}

static void create_test_files(struct board_uio *uio)
{
	uio->debugfs = debugfs_create_dir(uio->info.name, board_debugfs);
	debugfs_create_u8("enabled", 0444, uio->debugfs, &uio->enabled);
	board_probe_create(&uio->probes[false], &uio->lock, BOARD_FORCE_ERRORS, "disable",
			   uio->debugfs);
	board_probe_create(&uio->probes[true], &uio->lock, BOARD_FORCE_ERRORS, "enable",
			   uio->debugfs);
}

int board_uio_add(struct board_uio *uio, const char *name, struct device *parent)
{
	int error;

	mutex_init(&uio->lock);
	uio->info.name = name;
	uio->info.version = "1";
	uio->info.irqcontrol = board_uio_irqcontrol;

	/* A program can open the device as soon as it is registered, so create the probes first. */
	create_test_files(uio);
	error = uio_register_device(parent, &uio->info);
	if (error)
		debugfs_remove(uio->debugfs);
	return error;
}

void board_uio_remove(struct board_uio *uio)
{
	debugfs_remove(uio->debugfs);
	uio_unregister_device(&uio->info);
}

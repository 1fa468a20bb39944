// SPDX-License-Identifier: GPL-2.0-only
/*
 * The virtual register devices of the control board.
 */
#include <linux/debugfs.h>
#include <linux/kernel.h>
#include <linux/module.h>

#include "board.h"

struct device_family {
	int (*init)(void);
	void (*exit)(void);
};

static const struct device_family families[] = {
	{ seek_devices_init, seek_devices_exit },
	{ uio_devices_init, uio_devices_exit },
	{ clock_device_init, clock_device_exit },
	{ spi_fpga_init, spi_fpga_exit },
	{ tyvon_devices_init, tyvon_devices_exit },
};

struct dentry *board_debugfs;

static void exit_families(size_t count)
{
	while (count)
		families[--count].exit();
	debugfs_remove(board_debugfs);
}

static int __init board_init(void)
{
	size_t i;
	int error;

	board_debugfs = debugfs_create_dir(KBUILD_MODNAME, NULL);
	for (i = 0; i < ARRAY_SIZE(families); i++) {
		error = families[i].init();
		if (error) {
			exit_families(i);
			return error;
		}
	}
	return 0;
}

static void __exit board_exit(void)
{
	exit_families(ARRAY_SIZE(families));
}

module_init(board_init);
module_exit(board_exit);

MODULE_DESCRIPTION("Virtual register devices of the control board");
MODULE_LICENSE("GPL");

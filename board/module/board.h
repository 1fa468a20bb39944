/* SPDX-License-Identifier: GPL-2.0-only */
#ifndef RYNVEL_BOARD_H
#define RYNVEL_BOARD_H

struct dentry;

/* The folder "rynvel_board" of debugfs. Each family of devices creates its test files in this folder. */
extern struct dentry* board_debugfs;

int seek_devices_init(void);
void seek_devices_exit(void);
int uio_devices_init(void);
void uio_devices_exit(void);
int clock_device_init(void);
void clock_device_exit(void);
int spi_fpga_init(void);
void spi_fpga_exit(void);
int tyvon_devices_init(void);
void tyvon_devices_exit(void);

#endif

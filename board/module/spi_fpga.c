// SPDX-License-Identifier: GPL-2.0-only
/*
 * An FPGA with 32-bit registers on a virtual SPI controller. Programs reach the FPGA through the
 * spidev driver of the kernel.
 */
#include <asm/unaligned.h>
#include <linux/debugfs.h>
#include <linux/device.h>
#include <linux/err.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/sizes.h>
#include <linux/spi/spi.h>
#include <linux/string.h>
#include <linux/stringify.h>

#include "board.h"
#include "board_probe.h"
#include "board_registers.h"

#define BUS 7
#define CHIP_SELECT 1
#define DEVICE_NAME "spidev" __stringify(BUS) "." __stringify(CHIP_SELECT)
#define SPEED_HZ 1000000

#define ADDRESS_SPACE SZ_64K
#define IDLE_LINE 0xff

/* Offsets in a frame, in bytes. */
#define COMMAND_AT 0
#define ADDRESS_AT 1
#define WRITTEN_AT 5
#define READ_AT 6
#define STATUS_AT 10
#define FRAME_SIZE 11

#define WRITE_COMMAND 0x01
#define READ_COMMAND 0x02

#define STATUS_UNKNOWN_COMMAND 0x01
#define STATUS_BAD_ADDRESS 0x02
#define STATUS_DONE 0x80

static struct {
	struct mutex lock; /* guards all members except parent, controller and debugfs */
	u32 words[ADDRESS_SPACE / sizeof(u32)];
	struct board_registers registers;
	struct board_probe transfers;
	struct board_probe statuses;
	u8 frame[FRAME_SIZE];
	struct device *parent;
	struct spi_controller *controller;
	struct dentry *debugfs;
} fpga;

static u8 check_frame(const u8 *frame)
{
	u32 address = get_unaligned_be32(frame + ADDRESS_AT);

	if (frame[COMMAND_AT] != WRITE_COMMAND && frame[COMMAND_AT] != READ_COMMAND)
		return STATUS_UNKNOWN_COMMAND;
	if (address % sizeof(u32) || address >= ADDRESS_SPACE)
		return STATUS_BAD_ADDRESS;
	return STATUS_DONE;
}

static void answer_frame(u8 *reply)
{
	u32 index = get_unaligned_be32(fpga.frame + ADDRESS_AT) / sizeof(u32);
	int status = check_frame(fpga.frame);
	bool valid = status == STATUS_DONE;
	bool forced = board_probe_forced(&fpga.statuses, &status);

	memset(reply, IDLE_LINE, FRAME_SIZE);
	if (valid && fpga.frame[COMMAND_AT] == READ_COMMAND)
		put_unaligned_be32(fpga.words[index], reply + READ_AT);
	if (valid && !forced && fpga.frame[COMMAND_AT] == WRITE_COMMAND)
		fpga.words[index] = get_unaligned_be32(fpga.frame + WRITTEN_AT);
	reply[STATUS_AT] = status;
}

static int transfer_one(struct spi_controller *controller, struct spi_device *spi,
			struct spi_transfer *transfer)
{
	int error;

	mutex_lock(&fpga.lock);
	error = board_probe_call(&fpga.transfers, NULL);
	if (!error && transfer->len != FRAME_SIZE)
		error = -EINVAL;
	if (!error) {
		memcpy(fpga.frame, transfer->tx_buf, FRAME_SIZE);
		answer_frame(transfer->rx_buf);
	}
	mutex_unlock(&fpga.lock);
	return error;
}

static int frame_show(struct seq_file *seq, void *unused)
{
	mutex_lock(&fpga.lock);
	seq_printf(seq, "%*ph\n", FRAME_SIZE, fpga.frame);
	mutex_unlock(&fpga.lock);
	return 0;
}

DEFINE_SHOW_ATTRIBUTE(frame);

static void create_test_files(void)
{
	fpga.registers = (struct board_registers){
		.lock = &fpga.lock,
		.bytes = (u8 *)fpga.words,
		.size = sizeof(fpga.words),
	};
	fpga.debugfs = debugfs_create_dir(DEVICE_NAME, board_debugfs);
	board_registers_create(&fpga.registers, fpga.debugfs);
	board_probe_create(&fpga.transfers, &fpga.lock, BOARD_FORCE_ERRORS, "transfer",
			   fpga.debugfs);
	board_probe_create_force(&fpga.statuses, &fpga.lock, BOARD_FORCE_BYTES, "status",
				 fpga.debugfs);
	debugfs_create_file("frame", 0444, fpga.debugfs, NULL, &frame_fops);
}

static int add_controller(void)
{
	int error;

	fpga.controller = spi_alloc_host(fpga.parent, 0);
	if (!fpga.controller)
		return -ENOMEM;

	fpga.controller->bus_num = BUS;
	fpga.controller->num_chipselect = CHIP_SELECT + 1;
	fpga.controller->bits_per_word_mask = SPI_BPW_MASK(8);
	fpga.controller->flags = SPI_CONTROLLER_MUST_RX | SPI_CONTROLLER_MUST_TX;
	fpga.controller->transfer_one = transfer_one;
	error = spi_register_controller(fpga.controller);
	if (error)
		spi_controller_put(fpga.controller);
	return error;
}

/* spidev refuses the modalias "spidev", so the device has another modalias that spidev supports. */
static int add_device(void)
{
	struct spi_board_info info = {
		.modalias = "dh2228fv",
		.chip_select = CHIP_SELECT,
		.max_speed_hz = SPEED_HZ,
	};

	return spi_new_device(fpga.controller, &info) ? 0 : -ENODEV;
}

int spi_fpga_init(void)
{
	int error;

	mutex_init(&fpga.lock);
	fpga.parent = root_device_register(KBUILD_MODNAME "_spi");
	if (IS_ERR(fpga.parent))
		return PTR_ERR(fpga.parent);

	/* A program can open the device as soon as it is registered, so create the probes first. */
	create_test_files();
	error = add_controller();
	if (error)
		goto remove_parent;
	error = add_device();
	if (error)
		goto remove_controller;
	return 0;

remove_controller:
	spi_unregister_controller(fpga.controller);
remove_parent:
	pr_err("cannot add %s: %d\n", DEVICE_NAME, error);
	debugfs_remove(fpga.debugfs);
	root_device_unregister(fpga.parent);
	return error;
}

void spi_fpga_exit(void)
{
	spi_unregister_controller(fpga.controller);
	debugfs_remove(fpga.debugfs);
	root_device_unregister(fpga.parent);
}

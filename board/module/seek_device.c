// SPDX-License-Identifier: GPL-2.0-only
/*
 * Character devices whose file offset is the byte address of a register.
 */
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/ioctl.h>
#include <linux/kernel.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/sizes.h>
#include <linux/vmalloc.h>

#include "board.h"
#include "board_probe.h"
#include "board_registers.h"
#include "device_names.h"

#define BLOCK_SIZE_BYTES SZ_64K
#define GET_BLOCK_SIZE _IO('B', 1)

enum operation { READ_CALL, WRITE_CALL, SEEK_CALL, IOCTL_CALL, OPERATIONS };

static const struct {
	const char *name;
	enum board_forcible forcible;
} operations[OPERATIONS] = {
	[READ_CALL] = { "read", BOARD_FORCE_ERRORS_AND_COUNTS },
	[WRITE_CALL] = { "write", BOARD_FORCE_ERRORS_AND_COUNTS },
	[SEEK_CALL] = { "seek", BOARD_FORCE_ERRORS },
	[IOCTL_CALL] = { "ioctl", BOARD_FORCE_ERRORS_AND_COUNTS },
};

struct seek_device {
	struct miscdevice misc;
	struct mutex lock; /* guards the registers and the probes */
	struct board_registers registers;
	struct board_probe probes[OPERATIONS];
	struct dentry *debugfs;
};

static const char *const names[] = { BOARD_LSEEK_DEVICES };
static struct seek_device devices[ARRAY_SIZE(names)];

static struct seek_device *device_of(struct file *file)
{
	return container_of(file->private_data, struct seek_device, misc);
}

static ssize_t seek_device_read(struct file *file, char __user *user, size_t length, loff_t *pos)
{
	struct seek_device *device = device_of(file);
	ssize_t result;

	mutex_lock(&device->lock);
	result = board_probe_call(&device->probes[READ_CALL], &length);
	if (!result)
		result = board_registers_read(&device->registers, user, length, pos);
	mutex_unlock(&device->lock);
	return result;
}

static ssize_t seek_device_write(struct file *file, const char __user *user, size_t length,
				 loff_t *pos)
{
	struct seek_device *device = device_of(file);
	ssize_t result;

	mutex_lock(&device->lock);
	result = board_probe_call(&device->probes[WRITE_CALL], &length);
	if (!result)
		result = board_registers_write(&device->registers, user, length, pos);
	mutex_unlock(&device->lock);
	return result;
}

static bool is_forced(struct seek_device *device, enum operation operation, int *result)
{
	bool forced;

	mutex_lock(&device->lock);
	forced = board_probe_forced(&device->probes[operation], result);
	mutex_unlock(&device->lock);
	return forced;
}

static loff_t seek_device_llseek(struct file *file, loff_t offset, int whence)
{
	int error;

	if (is_forced(device_of(file), SEEK_CALL, &error))
		return error;
	return fixed_size_llseek(file, offset, whence, BLOCK_SIZE_BYTES);
}

static long seek_device_ioctl(struct file *file, unsigned int command, unsigned long arg)
{
	int result;

	if (is_forced(device_of(file), IOCTL_CALL, &result))
		return result;
	return command == GET_BLOCK_SIZE ? BLOCK_SIZE_BYTES : -ENOTTY;
}

static const struct file_operations seek_device_fops = {
	.owner = THIS_MODULE,
	.read = seek_device_read,
	.write = seek_device_write,
	.llseek = seek_device_llseek,
	.unlocked_ioctl = seek_device_ioctl,
};

static void create_test_files(struct seek_device *device)
{
	int i;

	device->debugfs = debugfs_create_dir(device->misc.name, board_debugfs);
	board_registers_create(&device->registers, device->debugfs);
	for (i = 0; i < OPERATIONS; i++)
		board_probe_create(&device->probes[i], &device->lock, operations[i].forcible,
				   operations[i].name, device->debugfs);
}

static int add_device(struct seek_device *device, const char *name)
{
	int error;

	mutex_init(&device->lock);
	device->misc.minor = MISC_DYNAMIC_MINOR;
	device->misc.name = name;
	device->misc.fops = &seek_device_fops;
	device->registers.lock = &device->lock;
	device->registers.size = BLOCK_SIZE_BYTES;
	device->registers.bytes = vzalloc(BLOCK_SIZE_BYTES);
	if (!device->registers.bytes)
		return -ENOMEM;

	/* A program can open the device as soon as it is registered, so create the probes first. */
	create_test_files(device);
	error = misc_register(&device->misc);
	if (error) {
		debugfs_remove(device->debugfs);
		vfree(device->registers.bytes);
	}
	return error;
}

static void remove_devices(size_t count)
{
	while (count) {
		struct seek_device *device = &devices[--count];

		misc_deregister(&device->misc);
		debugfs_remove(device->debugfs);
		vfree(device->registers.bytes);
	}
}

int seek_devices_init(void)
{
	size_t i;
	int error;

	for (i = 0; i < ARRAY_SIZE(devices); i++) {
		error = add_device(&devices[i], names[i]);
		if (error) {
			pr_err("cannot add %s: %d\n", names[i], error);
			remove_devices(i);
			return error;
		}
	}
	return 0;
}

void seek_devices_exit(void)
{
	remove_devices(ARRAY_SIZE(devices));
}

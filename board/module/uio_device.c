// SPDX-License-Identifier: GPL-2.0-only
/*
 * UIO devices whose registers are a page of memory. Tests raise the interrupts of the devices.
 */
#include <linux/debugfs.h>
#include <linux/device.h>
#include <linux/err.h>
#include <linux/gfp.h>
#include <linux/kernel.h>
#include <linux/module.h>

#include "board.h"
#include "board_registers.h"
#include "board_uio.h"
#include "device_names.h"

#define MAX_RAISES 1000

struct page_device {
	struct board_uio uio; /* its lock also guards "enabled", "pending" and the registers */
	struct board_registers registers;
	u8 pending;
};

static const char *const names[] = { BOARD_UIO_DEVICES };
static struct page_device devices[ARRAY_SIZE(names)];
static struct device *parent;

/* Delivers a pending interrupt if it is enabled. The delivery disables the interrupt. */
static void deliver_pending(struct page_device *device)
{
	if (!device->uio.enabled || !device->pending)
		return;
	device->uio.enabled = false;
	device->pending = false;
	uio_event_notify(&device->uio.info);
}

static void set_enabled(struct board_uio *uio, bool enabled)
{
	uio->enabled = enabled;
	deliver_pending(container_of(uio, struct page_device, uio));
}

static int raise_set(void *data, u64 times)
{
	struct page_device *device = data;

	if (times > MAX_RAISES)
		return -EINVAL;
	mutex_lock(&device->uio.lock);
	while (times--) {
		device->pending = true;
		deliver_pending(device);
	}
	mutex_unlock(&device->uio.lock);
	return 0;
}

DEFINE_DEBUGFS_ATTRIBUTE(raise_fops, NULL, raise_set, "%llu\n");

static void create_test_files(struct page_device *device)
{
	struct dentry *folder = device->uio.debugfs;

	board_registers_create(&device->registers, folder);
	debugfs_create_u8("pending", 0444, folder, &device->pending);
	debugfs_create_file_unsafe("raise", 0200, folder, device, &raise_fops);
}

static int add_device(struct page_device *device, const char *name)
{
	unsigned long page = get_zeroed_page(GFP_KERNEL);
	int error;

	if (!page)
		return -ENOMEM;

	device->registers = (struct board_registers){
		.lock = &device->uio.lock,
		.bytes = (u8 *)page,
		.size = PAGE_SIZE,
	};
	device->uio.set_enabled = set_enabled;
	device->uio.info.irq = UIO_IRQ_CUSTOM;
	device->uio.info.mem[0] = (struct uio_mem){
		.name = "registers",
		.memtype = UIO_MEM_LOGICAL,
		.addr = page,
		.size = PAGE_SIZE,
	};
	error = board_uio_add(&device->uio, name, parent);
	if (error)
		free_page(page);
	else
		create_test_files(device);
	return error;
}

static void remove_devices(size_t count)
{
	while (count) {
		struct page_device *device = &devices[--count];

		board_uio_remove(&device->uio);
		free_page((unsigned long)device->registers.bytes);
	}
	root_device_unregister(parent);
}

int uio_devices_init(void)
{
	size_t i;
	int error;

	parent = root_device_register(KBUILD_MODNAME);
	if (IS_ERR(parent))
		return PTR_ERR(parent);
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

void uio_devices_exit(void)
{
	remove_devices(ARRAY_SIZE(devices));
}

// SPDX-License-Identifier: GPL-2.0-only
/*
 * Two character devices, each with registers and an interrupt. Programs map the registers of
 * tyvon_map, and seek, read and write those of tyvon_seek. A read of 2 bytes that is not a register
 * access returns the interrupt word.
 */
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/gfp.h>
#include <linux/io.h>
#include <linux/kernel.h>
#include <linux/miscdevice.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/poll.h>
#include <linux/sched.h>
#include <linux/slab.h>
#include <linux/uaccess.h>
#include <linux/wait.h>

#include "board.h"
#include "board_probe.h"
#include "board_registers.h"

#define ENABLE_REQUEST 0xEE00
#define DISABLE_REQUEST 0xEE01
#define TYPE_REQUEST 0xEE02

/* Only the seekable device has the last three operations. */
enum operation { IOCTL_CALL, WAIT_CALL, READ_CALL, WRITE_CALL, SEEK_CALL, OPERATIONS };

static const struct {
	const char *name;
	enum board_forcible forcible;
} operations[OPERATIONS] = {
	[IOCTL_CALL] = { "ioctl", BOARD_FORCE_ERRORS_AND_COUNTS },
	[WAIT_CALL] = { "wait", BOARD_FORCE_ERRORS_AND_COUNTS },
	[READ_CALL] = { "read", BOARD_FORCE_ERRORS_AND_COUNTS },
	[WRITE_CALL] = { "write", BOARD_FORCE_ERRORS_AND_COUNTS },
	[SEEK_CALL] = { "seek", BOARD_FORCE_ERRORS },
};

struct tyvon_device {
	struct miscdevice misc;
	struct mutex lock; /* guards the registers, the probes and the open files */
	struct board_registers registers;
	struct board_probe probes[OPERATIONS];
	u32 request;
	u32 transfers_per_seek;
	unsigned long type;
	wait_queue_head_t interrupts; /* its lock guards enabled, pending and status */
	u8 enabled;
	u8 pending;
	u16 status;
	struct dentry *debugfs;
};

/*
 * An open file with its own position, which replaces f_pos. When a read ends, the kernel overwrites
 * f_pos. This would undo a seek that another thread has made during the read.
 */
struct open_file {
	struct tyvon_device *device;
	loff_t position;
	pid_t seeker;
	u32 sought_transfers;
};

static int tyvon_open(struct inode *inode, struct file *file)
{
	struct open_file *open = kzalloc(sizeof(*open), GFP_KERNEL);

	if (!open)
		return -ENOMEM;
	open->device = container_of(file->private_data, struct tyvon_device, misc);
	file->private_data = open;
	file->f_mode &= ~(FMODE_PREAD | FMODE_PWRITE);
	return 0;
}

static int tyvon_release(struct inode *inode, struct file *file)
{
	kfree(file->private_data);
	return 0;
}

static struct tyvon_device *device_of(struct file *file)
{
	struct open_file *open = file->private_data;

	return open->device;
}

static bool is_deliverable(struct tyvon_device *device)
{
	lockdep_assert_held(&device->interrupts.lock);
	return device->enabled && device->pending;
}

static void wake_if_deliverable(struct tyvon_device *device)
{
	if (is_deliverable(device))
		wake_up_locked(&device->interrupts);
}

static void set_enabled(struct tyvon_device *device, bool enabled)
{
	spin_lock(&device->interrupts.lock);
	device->enabled = enabled;
	wake_if_deliverable(device);
	spin_unlock(&device->interrupts.lock);
}

static int raise_set(void *data, u64 status)
{
	struct tyvon_device *device = data;

	if (status > U16_MAX)
		return -EINVAL;
	spin_lock(&device->interrupts.lock);
	device->status = status;
	device->pending = true;
	wake_if_deliverable(device);
	spin_unlock(&device->interrupts.lock);
	return 0;
}

DEFINE_DEBUGFS_ATTRIBUTE(raise_fops, NULL, raise_set, "%llu\n");

static int take_status(struct tyvon_device *device, bool may_block, u16 *status)
{
	int error = -EAGAIN;

	spin_lock(&device->interrupts.lock);
	if (may_block || is_deliverable(device))
		error = wait_event_interruptible_locked(device->interrupts,
							is_deliverable(device));
	if (!error) {
		*status = device->status;
		device->pending = false;
	}
	spin_unlock(&device->interrupts.lock);
	return error;
}

static int count_wait(struct tyvon_device *device, size_t *length)
{
	int error;

	mutex_lock(&device->lock);
	error = board_probe_call(&device->probes[WAIT_CALL], length);
	mutex_unlock(&device->lock);
	return error;
}

static ssize_t wait_for_interrupt(struct file *file, char __user *user, size_t length)
{
	struct tyvon_device *device = device_of(file);
	u16 status;
	int error;

	if (length != sizeof(status))
		return -EINVAL;
	error = count_wait(device, &length);
	if (error || !length)
		return error;
	error = take_status(device, !(file->f_flags & O_NONBLOCK), &status);
	if (error)
		return error;
	return copy_to_user(user, &status, length) ? -EFAULT : length;
}

static __poll_t tyvon_poll(struct file *file, poll_table *table)
{
	struct tyvon_device *device = device_of(file);
	bool deliverable;

	poll_wait(file, &device->interrupts, table);
	spin_lock(&device->interrupts.lock);
	deliverable = is_deliverable(device);
	spin_unlock(&device->interrupts.lock);
	return deliverable ? EPOLLIN | EPOLLRDNORM : 0;
}

static long tyvon_ioctl(struct file *file, unsigned int request, unsigned long arg)
{
	struct tyvon_device *device = device_of(file);
	bool forced;
	int result;

	mutex_lock(&device->lock);
	device->request = request;
	forced = board_probe_forced(&device->probes[IOCTL_CALL], &result);
	mutex_unlock(&device->lock);
	if (forced)
		return result;
	switch (request) {
	case ENABLE_REQUEST:
	case DISABLE_REQUEST:
		set_enabled(device, request == ENABLE_REQUEST);
		return 0;
	case TYPE_REQUEST:
		return put_user(device->type, (unsigned long __user *)arg);
	default:
		return -ENOTTY;
	}
}

static ssize_t mapped_read(struct file *file, char __user *user, size_t length, loff_t *pos)
{
	return wait_for_interrupt(file, user, length);
}

static int mapped_mmap(struct file *file, struct vm_area_struct *vma)
{
	struct board_registers *registers = &device_of(file)->registers;

	return vm_iomap_memory(vma, virt_to_phys(registers->bytes), registers->size);
}

static bool claim_sought_transfer(struct open_file *open)
{
	if (!open->sought_transfers || open->seeker != current->pid)
		return false;
	open->sought_transfers--;
	return true;
}

static ssize_t read_registers(struct open_file *open, char __user *user, size_t length)
{
	int error = board_probe_call(&open->device->probes[READ_CALL], &length);

	if (error)
		return error;
	return board_registers_read(&open->device->registers, user, length, &open->position);
}

/*
 * A read of 2 bytes is a register access only if the same thread made the latest seek on the file,
 * and if the seek has transfers left.
 */
static ssize_t seekable_read(struct file *file, char __user *user, size_t length, loff_t *pos)
{
	struct open_file *open = file->private_data;
	struct tyvon_device *device = open->device;
	ssize_t result = 0;
	bool sought;

	mutex_lock(&device->lock);
	sought = claim_sought_transfer(open) || length != sizeof(device->status);
	if (sought)
		result = read_registers(open, user, length);
	mutex_unlock(&device->lock);
	return sought ? result : wait_for_interrupt(file, user, length);
}

static ssize_t seekable_write(struct file *file, const char __user *user, size_t length,
			      loff_t *pos)
{
	struct open_file *open = file->private_data;
	struct tyvon_device *device = open->device;
	ssize_t result;

	mutex_lock(&device->lock);
	claim_sought_transfer(open);
	result = board_probe_call(&device->probes[WRITE_CALL], &length);
	if (!result)
		result = board_registers_write(&device->registers, user, length, &open->position);
	mutex_unlock(&device->lock);
	return result;
}

static loff_t seek(struct file *file, struct open_file *open, loff_t offset, int whence)
{
	int error;
	loff_t position;

	if (board_probe_forced(&open->device->probes[SEEK_CALL], &error))
		return error;
	if (whence == SEEK_CUR) {
		offset += open->position;
		whence = SEEK_SET;
	}
	position = fixed_size_llseek(file, offset, whence, open->device->registers.size);
	if (position < 0)
		return position;
	open->position = position;
	open->seeker = current->pid;
	open->sought_transfers = open->device->transfers_per_seek;
	return position;
}

static loff_t seekable_llseek(struct file *file, loff_t offset, int whence)
{
	struct open_file *open = file->private_data;
	loff_t position;

	mutex_lock(&open->device->lock);
	position = seek(file, open, offset, whence);
	mutex_unlock(&open->device->lock);
	return position;
}

static const struct file_operations mapped_fops = {
	.owner = THIS_MODULE,
	.open = tyvon_open,
	.release = tyvon_release,
	.read = mapped_read,
	.mmap = mapped_mmap,
	.poll = tyvon_poll,
	.unlocked_ioctl = tyvon_ioctl,
};

static const struct file_operations seekable_fops = {
	.owner = THIS_MODULE,
	.open = tyvon_open,
	.release = tyvon_release,
	.read = seekable_read,
	.write = seekable_write,
	.llseek = seekable_llseek,
	.poll = tyvon_poll,
	.unlocked_ioctl = tyvon_ioctl,
};

static struct tyvon_device devices[] = {
	{ .misc = { .name = "tyvon_map", .fops = &mapped_fops } },
	{ .misc = { .name = "tyvon_seek", .fops = &seekable_fops } },
};

static void create_test_files(struct tyvon_device *device)
{
	bool seekable = device->misc.fops == &seekable_fops;
	int i;

	device->debugfs = debugfs_create_dir(device->misc.name, board_debugfs);
	board_registers_create(&device->registers, device->debugfs);
	for (i = 0; i < (seekable ? OPERATIONS : READ_CALL); i++)
		board_probe_create(&device->probes[i], &device->lock, operations[i].forcible,
				   operations[i].name, device->debugfs);
	debugfs_create_u32("request", 0444, device->debugfs, &device->request);
	debugfs_create_ulong("type", 0644, device->debugfs, &device->type);
	debugfs_create_u8("enabled", 0444, device->debugfs, &device->enabled);
	debugfs_create_u8("pending", 0444, device->debugfs, &device->pending);
	debugfs_create_file_unsafe("raise", 0200, device->debugfs, device, &raise_fops);
	if (seekable)
		debugfs_create_u32("transfers_per_seek", 0644, device->debugfs,
				   &device->transfers_per_seek);
}

static int add_device(struct tyvon_device *device)
{
	int error;

	mutex_init(&device->lock);
	init_waitqueue_head(&device->interrupts);
	device->type = 1;
	device->transfers_per_seek = 1;
	device->misc.minor = MISC_DYNAMIC_MINOR;
	device->registers.lock = &device->lock;
	device->registers.size = PAGE_SIZE;
	device->registers.bytes = (u8 *)get_zeroed_page(GFP_KERNEL);
	if (!device->registers.bytes)
		return -ENOMEM;

	/* A program can open the device as soon as it is registered, so create the probes first. */
	create_test_files(device);
	error = misc_register(&device->misc);
	if (error) {
		debugfs_remove(device->debugfs);
		free_page((unsigned long)device->registers.bytes);
	}
	return error;
}

static void remove_devices(size_t count)
{
	while (count) {
		struct tyvon_device *device = &devices[--count];

		misc_deregister(&device->misc);
		debugfs_remove(device->debugfs);
		free_page((unsigned long)device->registers.bytes);
	}
}

int tyvon_devices_init(void)
{
	size_t i;
	int error;

	for (i = 0; i < ARRAY_SIZE(devices); i++) {
		error = add_device(&devices[i]);
		if (error) {
			pr_err("cannot add %s: %d\n", devices[i].misc.name, error);
			remove_devices(i);
			return error;
		}
	}
	return 0;
}

void tyvon_devices_exit(void)
{
	remove_devices(ARRAY_SIZE(devices));
}

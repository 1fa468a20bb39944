// SPDX-License-Identifier: GPL-2.0-only
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/module.h>

#include "board_registers.h"

ssize_t board_registers_read(struct board_registers *registers, char __user *user, size_t length,
			     loff_t *pos)
{
	lockdep_assert_held(registers->lock);
	return simple_read_from_buffer(user, length, pos, registers->bytes, registers->size);
}

ssize_t board_registers_write(struct board_registers *registers, const char __user *user,
			      size_t length, loff_t *pos)
{
	lockdep_assert_held(registers->lock);
	if (length && *pos >= registers->size)
		return -ENOSPC;
	return simple_write_to_buffer(registers->bytes, registers->size, pos, user, length);
}

static ssize_t registers_read(struct file *file, char __user *user, size_t length, loff_t *pos)
{
	struct board_registers *registers = file->private_data;
	ssize_t result;

	mutex_lock(registers->lock);
	result = board_registers_read(registers, user, length, pos);
	mutex_unlock(registers->lock);
	return result;
}

static ssize_t registers_write(struct file *file, const char __user *user, size_t length,
			       loff_t *pos)
{
	struct board_registers *registers = file->private_data;
	ssize_t result;

	mutex_lock(registers->lock);
	result = board_registers_write(registers, user, length, pos);
	mutex_unlock(registers->lock);
	return result;
}

static const struct file_operations registers_fops = {
	.owner = THIS_MODULE,
	.open = simple_open,
	.read = registers_read,
	.write = registers_write,
	.llseek = default_llseek,
};

void board_registers_create(struct board_registers *registers, struct dentry *parent)
{
	debugfs_create_file_size("registers", 0644, parent, registers, &registers_fops,
				 registers->size);
}

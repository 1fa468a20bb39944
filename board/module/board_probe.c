// SPDX-License-Identifier: GPL-2.0-only
#include <linux/debugfs.h>
#include <linux/err.h>
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/minmax.h>
#include <linux/seq_file.h>
#include <linux/uaccess.h>

#include "board_probe.h"

#define FORCE_TEXT_SIZE 32

static const struct {
	int min;
	int max;
} forcible_results[] = {
	[BOARD_FORCE_ERRORS] = { -MAX_ERRNO, -1 },
	[BOARD_FORCE_ERRORS_AND_COUNTS] = { -MAX_ERRNO, INT_MAX },
	[BOARD_FORCE_BYTES] = { 0, U8_MAX },
};

static int calls_get(void *data, u64 *value)
{
	struct board_probe *probe = data;

	mutex_lock(probe->lock);
	*value = probe->calls;
	mutex_unlock(probe->lock);
	return 0;
}

static int calls_set(void *data, u64 value)
{
	struct board_probe *probe = data;

	mutex_lock(probe->lock);
	probe->calls = value;
	mutex_unlock(probe->lock);
	return 0;
}

DEFINE_DEBUGFS_ATTRIBUTE(calls_fops, calls_get, calls_set, "%llu\n");

static int force_show(struct seq_file *seq, void *unused)
{
	struct board_probe *probe = seq->private;

	mutex_lock(probe->lock);
	seq_printf(seq, "%u %d\n", probe->forced_calls, probe->forced_result);
	mutex_unlock(probe->lock);
	return 0;
}

static int force_open(struct inode *inode, struct file *file)
{
	return single_open(file, force_show, inode->i_private);
}

static bool is_forcible(const struct board_probe *probe, int result)
{
	return result >= forcible_results[probe->forcible].min &&
	       result <= forcible_results[probe->forcible].max;
}

static ssize_t force_write(struct file *file, const char __user *user, size_t length, loff_t *pos)
{
	struct board_probe *probe = ((struct seq_file *)file->private_data)->private;
	char text[FORCE_TEXT_SIZE] = "";
	u32 calls;
	int result;
	char rest;

	if (length >= sizeof(text))
		return -EINVAL;
	if (copy_from_user(text, user, length))
		return -EFAULT;
	if (sscanf(text, "%u %i %c", &calls, &result, &rest) != 2)
		return -EINVAL;
	if (calls && !is_forcible(probe, result))
		return -EINVAL;

	mutex_lock(probe->lock);
	probe->forced_calls = calls;
	probe->forced_result = result;
	mutex_unlock(probe->lock);
	return length;
}

static const struct file_operations force_fops = {
	.owner = THIS_MODULE,
	.open = force_open,
	.read = seq_read,
	.write = force_write,
	.llseek = seq_lseek,
	.release = single_release,
};

void board_probe_create_force(struct board_probe *probe, struct mutex *lock,
			      enum board_forcible forcible, const char *name,
			      struct dentry *parent)
{
	probe->lock = lock;
	probe->forcible = forcible;
	debugfs_create_file(name, 0644, parent, probe, &force_fops);
}

void board_probe_create(struct board_probe *probe, struct mutex *lock,
			enum board_forcible forcible, const char *name, struct dentry *parent)
{
	struct dentry *folder = debugfs_create_dir(name, parent);

	board_probe_create_force(probe, lock, forcible, "force", folder);
	debugfs_create_file_unsafe("calls", 0644, folder, probe, &calls_fops);
}

bool board_probe_forced(struct board_probe *probe, int *result)
{
	lockdep_assert_held(probe->lock);
	probe->calls++;
	if (!probe->forced_calls)
		return false;
	probe->forced_calls--;
	*result = probe->forced_result;
	return true;
}

int board_probe_call(struct board_probe *probe, size_t *length)
{
	int result;

	if (!board_probe_forced(probe, &result))
		return 0;
	if (result < 0)
		return result;
	if (length)
		*length = min_t(size_t, *length, result);
	return 0;
}

/* SPDX-License-Identifier: GPL-2.0 */
#ifndef RYNVEL_BOARD_PROBE_H
#define RYNVEL_BOARD_PROBE_H

#include <linux/mutex.h>
#include <linux/types.h>

struct dentry;

/*
 * What a test sees and sets of one operation of a device: how often it was called, and the result
 * that its next calls have instead of their own. The fields are guarded by the device's lock.
 */
struct board_probe {
	struct mutex *lock;
	bool transfers;
	u32 calls;
	u32 forced_calls;
	int forced_result;
};

/*
 * Adds the folder "name" with the files "calls" and "force" to "parent". Only an operation that
 * transfers bytes can be forced to be short.
 */
void board_probe_create(struct board_probe *probe, struct mutex *lock, bool transfers,
			const char *name, struct dentry *parent);

/*
 * Counts one call. Returns a negative error if the call is to fail; otherwise lowers "length",
 * which may be NULL, if the call is to be short. The caller holds the lock.
 */
int board_probe_call(struct board_probe *probe, size_t *length);

#endif

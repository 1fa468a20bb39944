/* SPDX-License-Identifier: GPL-2.0 */
#ifndef RYNVEL_BOARD_PROBE_H
#define RYNVEL_BOARD_PROBE_H

#include <linux/mutex.h>
#include <linux/types.h>

struct dentry;

/* The results that can be forced upon the calls of an operation. */
enum board_forcible {
	BOARD_FORCE_ERRORS,
	BOARD_FORCE_ERRORS_AND_COUNTS, /* any error and any number from 0 */
	BOARD_FORCE_BYTES, /* 0 to 255 */
};

/*
 * The view of a test on one operation of a device: how often it was called, and the result that
 * replaces the results of its next calls. The fields are guarded by the device's lock.
 */
struct board_probe {
	struct mutex *lock;
	enum board_forcible forcible;
	u32 calls;
	u32 forced_calls;
	int forced_result;
};

/* Adds the folder "name" with the files "calls" and "force" to "parent". */
void board_probe_create(struct board_probe *probe, struct mutex *lock,
			enum board_forcible forcible, const char *name, struct dentry *parent);

/* Adds the file "force" alone, as "name". */
void board_probe_create_force(struct board_probe *probe, struct mutex *lock,
			      enum board_forcible forcible, const char *name,
			      struct dentry *parent);

/*
 * Counts one call. Tells whether its result is forced, and only then sets "result". The caller
 * holds the lock.
 */
bool board_probe_forced(struct board_probe *probe, int *result);

/*
 * Counts one call that transfers bytes or only fails. Returns a negative error if the call is to
 * fail; otherwise lowers "length", which may be NULL, if the call is to be short. The caller holds
 * the lock.
 */
int board_probe_call(struct board_probe *probe, size_t *length);

#endif

/* SPDX-License-Identifier: GPL-2.0-only */
#ifndef RYNVEL_BOARD_PROBE_H
#define RYNVEL_BOARD_PROBE_H

#include <linux/mutex.h>
#include <linux/types.h>

struct dentry;

/* The results that a test can force on the calls of an operation. */
enum board_forcible {
    BOARD_FORCE_ERRORS,
    BOARD_FORCE_ERRORS_AND_COUNTS, /* any error, or any number from 0 to INT_MAX */
    BOARD_FORCE_BYTES,             /* 0 to 255 */
};

/*
 * The calls of one operation of a device. A test reads and sets the number of calls, and can force
 * a result for the next calls. The lock of the device guards the members.
 */
struct board_probe {
    struct mutex* lock;
    enum board_forcible forcible;
    u32 calls;
    u32 forced_calls;
    int forced_result;
};

/* Adds the folder "name", with the files "calls" and "force", to the folder "parent". */
void board_probe_create(struct board_probe* probe, struct mutex* lock, enum board_forcible forcible, const char* name,
                        struct dentry* parent);

/* Adds only the file "force" to the folder "parent", with the name "name". */
void board_probe_create_force(struct board_probe* probe, struct mutex* lock, enum board_forcible forcible,
                              const char* name, struct dentry* parent);

/*
 * Counts one call. Returns whether the result of the call is forced. If so, stores the result. The
 * caller holds the lock.
 */
bool board_probe_forced(struct board_probe* probe, int* result);

/*
 * Counts one call. Returns a negative error number if a test forces the call to fail, otherwise 0.
 * If a test limits the number of bytes, reduces "length" to this limit. "length" is NULL if the
 * operation transfers no bytes. The caller holds the lock.
 */
int board_probe_call(struct board_probe* probe, size_t* length);

#endif

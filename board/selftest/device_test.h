/* SPDX-License-Identifier: MIT */
/* Functions that the tests of all devices share. */
#ifndef RYNVEL_BOARD_DEVICE_TEST_H
#define RYNVEL_BOARD_DEVICE_TEST_H

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

/* Prints the result of a check, and records a failure for exit_status(). */
void check(const char* name, bool passed);

/* Returns 0 if all checks have passed so far, otherwise 1. */
int exit_status(void);

/* Opens a file and returns its descriptor. Ends the program with status 2 on failure. */
int open_device(const char* path);

/*
 * Opens, writes or reads a file of the device's folder in debugfs. "device" is the path of the device file. Each
 * function ends the program with status 2 if the file cannot be opened. set() returns whether the text was written.
 * get_text() stores a text of at most size - 1 characters. get() returns a decimal number, or -1 on failure.
 */
int open_test_file(const char* device, const char* file);
bool set(const char* device, const char* file, const char* text);
bool get_text(const char* device, const char* file, char* text, size_t size);
long get(const char* device, const char* file);

/* Waits at most 5 seconds until a file of debugfs contains a value. Returns whether the file contains the value. */
bool becomes(const char* device, const char* file, long value);

/* Returns whether "result", the result of the latest system call, is -1 and errno is "error". */
bool fails_with(long result, int error);

/* Maps the first "size" bytes of the registers of a device. Returns their address, or NULL on failure. */
void* map_registers(int fd, size_t size);

/* Returns whether a descriptor is readable, or becomes readable within the time-out. */
bool is_readable(int fd, int timeout_ms);

/* Returns the time of the monotonic clock in milliseconds. */
long milliseconds(void);
void pause_ms(int duration);

/*
 * Starts a process that raises the interrupt of a device after a pause, by writing a text to the file "raise". Returns
 * the identifier of the process, for ended_well().
 */
pid_t raise_after(int duration_ms, const char* device, const char* text);

/* Waits for the end of a child process. Returns whether its exit status is 0. */
bool ended_well(pid_t child);

/* Checks that the kernel has not issued a warning since its start. Call this function last. */
void check_kernel_warnings(void);

#endif

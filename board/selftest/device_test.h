/* SPDX-License-Identifier: MIT */
/* Functions that the tests of all devices share. */
#ifndef RYNVEL_BOARD_DEVICE_TEST_H
#define RYNVEL_BOARD_DEVICE_TEST_H

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

/* Prints one result. The program's exit status is that of all of them. */
void check(const char* name, bool passed);
int exit_status(void);

/* Opens a file. Ends the program on failure. */
int open_device(const char* path);

/* Open, write or read a test file of a device, given by its path, as a text or a number. */
int open_test_file(const char* device, const char* file);
bool set(const char* device, const char* file, const char* text);
bool get_text(const char* device, const char* file, char* text, size_t size);
long get(const char* device, const char* file);

/* Waits until a test file has a value, for some seconds at most. */
bool becomes(const char* device, const char* file, long value);

bool fails_with(long result, int error);

/* Maps the registers of a device from its beginning, or returns NULL. */
void* map_registers(int fd, size_t size);

/* Tells whether a descriptor is readable, or becomes readable within the time. */
bool is_readable(int fd, int timeout_ms);

long milliseconds(void);
void pause_ms(int duration);

/* Raises a device's interrupt from another process, after a pause. */
pid_t raise_after(int duration_ms, const char* device, const char* text);
bool ended_well(pid_t child);

/* The last check of a program. */
void check_kernel_warnings(void);

#endif

/* What the tests of all kinds of devices use. */
#ifndef RYNVEL_BOARD_DEVICE_TEST_H
#define RYNVEL_BOARD_DEVICE_TEST_H

#include <stdbool.h>

/* Prints one result. The program's exit status is that of all of them. */
void check(const char* name, bool passed);
int exit_status(void);

/* Opens or ends the program. */
int open_device(const char* path);

/* Opens, writes or reads as a number a test file of a device, which is given by its path. */
int open_test_file(const char* device, const char* file);
bool set(const char* device, const char* file, const char* text);
long get(const char* device, const char* file);

bool fails_with(long result, int error);

#endif

/* SPDX-License-Identifier: MIT */
/*
 * A C99 program that uses the installed package. The program opens the device that its argument names, or uses a handle
 * without opening a device.
 */

#include <rynvel.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char** argv) {
    if (argc > 2 && strcmp(argv[1], "--handle") == 0) {
        printf("descriptor %d\n", Rynvel_getFileDescriptor(atoi(argv[2])));
    } else {
        printf("handle %d\n", Rynvel_open(argc > 1 ? argv[1] : "no such device"));
    }
    return 0;
}

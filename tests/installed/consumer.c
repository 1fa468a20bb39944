/* A program in C99 against the installed package: opens the device that its argument names. */

#include <rynvel.h>

#include <stdio.h>

int main(int argc, char** argv) {
    const int handle = Rynvel_open(argc > 1 ? argv[1] : "no such device");
    printf("handle %d\n", handle);
    return 0;
}

/* SPDX-License-Identifier: MIT */
/* Tests the seekable devices of the board. Runs in the guest. The arguments are the paths of the devices. */
#define _GNU_SOURCE
#include <errno.h>
#include <pthread.h>
#include <stdbool.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "device_test.h"

#define SIZE 0x10000
#define GET_BLOCK_SIZE _IO('B', 1)
#define ROUNDS 300

static bool write_at(int fd, off_t address, const void* data, size_t size) {
    return lseek(fd, address, SEEK_SET) == address && write(fd, data, size) == (ssize_t)size;
}

static bool reads_at(int fd, off_t address, const void* data, size_t size) {
    char found[64];
    return lseek(fd, address, SEEK_SET) == address && read(fd, found, size) == (ssize_t)size &&
           memcmp(found, data, size) == 0;
}

static void test_fresh(int count, char** paths) {
    static const char zeros[SIZE];
    char found[SIZE];
    bool fresh = true;
    for (int i = 0; i < count; i++) {
        int fd = open_device(paths[i]);
        fresh = fresh && read(fd, found, SIZE) == SIZE && memcmp(found, zeros, SIZE) == 0;
        close(fd);
    }
    check("every device exists, and its registers are initially 0", count > 0 && fresh);
}

static void test_separate(int count, char** paths) {
    bool separate = true;
    for (int i = 0; i < count; i++) {
        int fd = open_device(paths[i]);
        separate = write_at(fd, 0x20, &i, sizeof i) && separate;
        close(fd);
    }
    for (int i = 0; i < count; i++) {
        int fd = open_device(paths[i]);
        separate = reads_at(fd, 0x20, &i, sizeof i) && separate;
        close(fd);
    }
    check("every device has its own registers", separate);
}

static void test_processes(const char* path) {
    pid_t child = fork();
    if (child == 0) {
        int fd = open_device(path);
        _exit(write_at(fd, 0x100, "kept", 4) ? 0 : 1);
    }
    int status;
    waitpid(child, &status, 0);
    int fd = open_device(path);
    check("a process reads what an earlier process wrote", status == 0 && reads_at(fd, 0x100, "kept", 4));
    close(fd);
}

static void test_positions(const char* path) {
    int first = open_device(path);
    int second = open_device(path);
    char text[8] = "";
    bool written = write_at(first, 0x200, "abcd", 4) && write(first, "efgh", 4) == 4;
    check("the position advances by the number of bytes transferred",
          written && lseek(first, 0, SEEK_CUR) == 0x208 && lseek(first, -8, SEEK_CUR) == 0x200 &&
              read(first, text, 3) == 3 && read(first, text + 3, 5) == 5 && memcmp(text, "abcdefgh", 8) == 0);
    check("every open file has its own position", lseek(second, 0, SEEK_CUR) == 0);
    close(first);
    close(second);
}

static void test_end(const char* path) {
    char text[16] = "";
    int fd = open_device(path);
    check("a write across the end is short", lseek(fd, -4, SEEK_END) == SIZE - 4 && write(fd, "12345678", 8) == 4);
    check("a write at the end fails with ENOSPC", fails_with(write(fd, "x", 1), ENOSPC));
    check("a read at the end returns 0 bytes", read(fd, text, sizeof text) == 0);
    check("a read beyond the end returns 0 bytes", pread(fd, text, sizeof text, SIZE + 100) == 0);
    check("a read across the end is short",
          lseek(fd, SIZE - 4, SEEK_SET) == SIZE - 4 && read(fd, text, 8) == 4 && memcmp(text, "1234", 4) == 0);
    close(fd);
}

static void test_seek(const char* path) {
    int fd = open_device(path);
    lseek(fd, 0x10, SEEK_SET);
    check("a seek outside the registers fails with EINVAL",
          fails_with(lseek(fd, SIZE + 1, SEEK_SET), EINVAL) && fails_with(lseek(fd, -1, SEEK_SET), EINVAL) &&
              fails_with(lseek(fd, -0x11, SEEK_CUR), EINVAL) && fails_with(lseek(fd, 1, SEEK_END), EINVAL));
    check("a failed seek does not change the position", lseek(fd, 0, SEEK_CUR) == 0x10);
    check("a seek to the end is allowed", lseek(fd, 0, SEEK_END) == SIZE);
    close(fd);
}

static void test_ioctl(const char* path) {
    int fd = open_device(path);
    check("an ioctl request returns the size of the registers", ioctl(fd, GET_BLOCK_SIZE) == SIZE);
    check("an unknown ioctl request fails with ENOTTY", fails_with(ioctl(fd, _IO('B', 99)), ENOTTY));
    close(fd);
}

static void test_registers_file(const char* path) {
    int fd = open_device(path);
    int beside = open_test_file(path, "registers");
    char text[4];
    long reads = get(path, "read/calls");
    check("the test file shows the registers",
          write_at(fd, 0x300, "seen", 4) && pread(beside, text, 4, 0x300) == 4 && memcmp(text, "seen", 4) == 0);
    check("a write to the test file changes the registers",
          pwrite(beside, "made", 4, 0x304) == 4 && reads_at(fd, 0x304, "made", 4));
    check("accesses through the test file are not counted", get(path, "read/calls") == reads + 1);
    close(fd);
    close(beside);
}

static void test_counts(const char* path) {
    int fd = open_device(path);
    char text[4] = "";
    bool reset = set(path, "read/calls", "0") && set(path, "write/calls", "0") && set(path, "seek/calls", "0") &&
                 set(path, "ioctl/calls", "0");
    bool used = write(fd, text, 4) == 4 && write(fd, text, 1) == 1 && read(fd, text, 4) == 4 &&
                lseek(fd, 0, SEEK_SET) == 0 && lseek(fd, 4, SEEK_SET) == 4 && lseek(fd, 8, SEEK_SET) == 8;
    ioctl(fd, GET_BLOCK_SIZE);
    check("calls are counted by kind", reset && used && get(path, "write/calls") == 2 && get(path, "read/calls") == 1 &&
                                           get(path, "seek/calls") == 3 && get(path, "ioctl/calls") == 1);
    close(fd);
}

static void test_forced_errors(const char* path) {
    int fd = open_device(path);
    char text[4] = "";
    write_at(fd, 0, "good", 4);
    lseek(fd, 0, SEEK_SET);
    check("the next reads can be made to fail", set(path, "read/force", "2 -5") && fails_with(read(fd, text, 4), EIO) &&
                                                    fails_with(read(fd, text, 4), EIO) && read(fd, text, 4) == 4 &&
                                                    memcmp(text, "good", 4) == 0);
    lseek(fd, 0, SEEK_SET);
    check("the next write can be made to fail and changes nothing",
          set(path, "write/force", "1 -6") && fails_with(write(fd, "evil", 4), ENXIO) && reads_at(fd, 0, "good", 4));
    check("the next seek can be made to fail", set(path, "seek/force", "1 -71") &&
                                                   fails_with(lseek(fd, 0, SEEK_SET), EPROTO) &&
                                                   lseek(fd, 0, SEEK_SET) == 0);
    check("the next ioctl can be made to fail", set(path, "ioctl/force", "1 -16") &&
                                                    fails_with(ioctl(fd, GET_BLOCK_SIZE), EBUSY) &&
                                                    ioctl(fd, GET_BLOCK_SIZE) == SIZE);
    check("the next ioctl can be made to return a number",
          set(path, "ioctl/force", "1 5") && ioctl(fd, GET_BLOCK_SIZE) == 5 && ioctl(fd, GET_BLOCK_SIZE) == SIZE);
    check("a forced result can be canceled",
          set(path, "read/force", "9 -5") && set(path, "read/force", "0 0") && read(fd, text, 4) == 4);
    close(fd);
}

static void test_forced_short(const char* path) {
    int fd = open_device(path);
    char text[4];
    check("the next write can be made short", set(path, "write/force", "1 2") && write(fd, "wxyz", 4) == 2 &&
                                                  lseek(fd, 0, SEEK_CUR) == 2 && write(fd, "yz", 2) == 2);
    lseek(fd, 0, SEEK_SET);
    check("the next read can be made short",
          set(path, "read/force", "1 3") && read(fd, text, 4) == 3 && read(fd, text, 1) == 1 && text[0] == 'z');
    check("a read can be made to return 0 bytes",
          set(path, "read/force", "1 0") && read(fd, text, 4) == 0 && read(fd, text, 4) == 4);
    check("an invalid setting is refused", !set(path, "seek/force", "1 2") && !set(path, "read/force", "nonsense") &&
                                               !set(path, "read/force", "1 -99999") &&
                                               !set(path, "read/force", "1 2 3"));
    close(fd);
}

struct pattern {
    const char* path;
    int value;
};

static void* write_pattern(void* argument) {
    const struct pattern* pattern = argument;
    int fd = open_device(pattern->path);
    char data[4096];
    memset(data, pattern->value, sizeof data);
    for (int i = 0; i < ROUNDS; i++)
        pwrite(fd, data, sizeof data, 0x1000);
    close(fd);
    return NULL;
}

static bool is_uniform(const char* data, size_t size) { return memcmp(data, data + 1, size - 1) == 0; }

static void test_concurrency(const char* path) {
    struct pattern patterns[] = {{path, 'a'}, {path, 'b'}};
    pthread_t writers[2];
    int fd = open_device(path);
    char data[4096] = "";
    bool whole = true;
    set(path, "write/calls", "0");
    pwrite(fd, data, sizeof data, 0x1000);
    for (int i = 0; i < 2; i++)
        pthread_create(&writers[i], NULL, write_pattern, &patterns[i]);
    for (int i = 0; i < ROUNDS; i++)
        whole = pread(fd, data, sizeof data, 0x1000) == sizeof data && is_uniform(data, sizeof data) && whole;
    for (int i = 0; i < 2; i++)
        pthread_join(writers[i], NULL);
    check("concurrent transfers do not mix", whole);
    check("concurrent calls are all counted", get(path, "write/calls") == 2 * ROUNDS + 1);
    close(fd);
}

int main(int argc, char** argv) {
    test_fresh(argc - 1, argv + 1);
    test_separate(argc - 1, argv + 1);
    const char* path = argv[argc - 1];
    test_processes(path);
    test_positions(path);
    test_end(path);
    test_seek(path);
    test_ioctl(path);
    test_registers_file(path);
    test_counts(path);
    test_forced_errors(path);
    test_forced_short(path);
    test_concurrency(path);
    return exit_status();
}

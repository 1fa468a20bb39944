/* SPDX-License-Identifier: MIT */
/* Tests the FPGA on the board's SPI controller. Runs in the guest. The argument is the path of the spidev device. */
#define _GNU_SOURCE
#include <endian.h>
#include <errno.h>
#include <linux/spi/spidev.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "device_test.h"

#define FRAME 11
#define SPACE 0x10000
#define WRITE_COMMAND 0x01
#define READ_COMMAND 0x02
#define UNKNOWN_COMMAND 0x01
#define BAD_ADDRESS 0x02
#define DONE 0x80
#define ROUNDS 200

struct frame {
    uint8_t bytes[FRAME];
};

static struct frame make_frame(uint8_t command, uint32_t address, uint32_t data) {
    struct frame frame = {{command}};
    address = htobe32(address);
    data = htobe32(data);
    memcpy(frame.bytes + 1, &address, 4);
    memcpy(frame.bytes + 5, &data, 4);
    return frame;
}

static long exchange_sized(int fd, const void* request, void* reply, uint32_t length, uint8_t word_bits) {
    struct spi_ioc_transfer transfer = {
        .tx_buf = (uintptr_t)request, .rx_buf = (uintptr_t)reply, .len = length, .bits_per_word = word_bits};
    return ioctl(fd, SPI_IOC_MESSAGE(1), &transfer);
}

static long exchange(int fd, struct frame request, struct frame* reply) {
    memset(reply, 0, sizeof *reply);
    return exchange_sized(fd, request.bytes, reply->bytes, FRAME, 8);
}

/* Writes a register. Returns the status byte of the reply, or -1 if the transfer fails. */
static int write_register(int fd, uint32_t address, uint32_t data) {
    struct frame reply;
    return exchange(fd, make_frame(WRITE_COMMAND, address, data), &reply) == FRAME ? reply.bytes[10] : -1;
}

/* Reads a register. Returns the status byte of the reply, or -1 if the transfer fails. */
static int read_register(int fd, uint32_t address, uint32_t* data) {
    struct frame reply;
    long result = exchange(fd, make_frame(READ_COMMAND, address, 0), &reply);
    memcpy(data, reply.bytes + 6, 4);
    *data = be32toh(*data);
    return result == FRAME ? reply.bytes[10] : -1;
}

static bool has(int fd, uint32_t address, uint32_t data) {
    uint32_t found = ~data;
    return read_register(fd, address, &found) == DONE && found == data;
}

static bool last_frame_is(const char* path, const char* wanted) {
    char text[64];
    return get_text(path, "frame", text, sizeof text) && strcmp(text, wanted) == 0;
}

static bool all_zero(const char* path) {
    static uint32_t words[SPACE / 4];
    uint32_t bits = 0;
    int fd = open_test_file(path, "registers");
    bool whole = read(fd, words, SPACE) == SPACE && read(fd, words, 1) == 0;
    for (int i = 0; i < SPACE / 4; i++)
        bits |= words[i];
    close(fd);
    return whole && bits == 0;
}

static void test_fresh(const char* path) {
    char driver[128] = "";
    check("the kernel's own spidev driver serves the device",
          readlink("/sys/bus/spi/devices/spi7.1/driver", driver, sizeof driver - 1) > 0 &&
              strcmp(strrchr(driver, '/'), "/spidev") == 0);
    check("the device has 64 KiB of registers, which are initially 0", all_zero(path));
    check("initially, the device has not received a frame", last_frame_is(path, "00 00 00 00 00 00 00 00 00 00 00\n"));
}

static void test_frames(const char* path) {
    int fd = open_device(path);
    struct frame reply;
    static const uint8_t written[FRAME] = {255, 255, 255, 255, 255, 255, 255, 255, 255, 255, DONE};
    static const uint8_t found[FRAME] = {255, 255, 255, 255, 255, 255, 0x12, 0x34, 0x56, 0x78, DONE};
    check("the ioctl request for a single message has the expected number", SPI_IOC_MESSAGE(1) == 0x40206B00);
    check("a frame writes a register", exchange(fd, make_frame(WRITE_COMMAND, 0x100c, 0x12345678), &reply) == FRAME &&
                                           memcmp(reply.bytes, written, FRAME) == 0);
    check("the test file shows the received frame", last_frame_is(path, "01 00 00 10 0c 12 34 56 78 00 00\n"));
    check("a frame reads a register",
          exchange(fd, make_frame(READ_COMMAND, 0x100c, 0), &reply) == FRAME && memcmp(reply.bytes, found, FRAME) == 0);
    check("the test file shows the next received frame", last_frame_is(path, "02 00 00 10 0c 00 00 00 00 00 00\n"));
    struct frame request = make_frame(WRITE_COMMAND, 0x1010, 0x9abcdef0);
    check("a call to write() also transfers a frame",
          write(fd, request.bytes, FRAME) == FRAME && has(fd, 0x1010, 0x9abcdef0));
    close(fd);
}

static void test_registers_file(const char* path) {
    int fd = open_device(path), beside = open_test_file(path, "registers");
    uint32_t value = 0;
    check("the test file shows the registers in the byte order of the guest",
          write_register(fd, 0x2000, 0xcafe0001) == DONE && pread(beside, &value, 4, 0x2000) == 4 &&
              value == 0xcafe0001);
    value = 0xcafe0002;
    check("a write to the test file changes the registers",
          pwrite(beside, &value, 4, 0x2004) == 4 && has(fd, 0x2004, 0xcafe0002));
    close(beside);
    close(fd);
}

static void test_addresses(const char* path) {
    static const uint32_t wrong[] = {0x3001, 0x3002, 0x3003, SPACE, SPACE + 0x3000, 0xfffffffc};
    int fd = open_device(path);
    bool refused = write_register(fd, 0x3000, 0x600d600d) == DONE;
    uint32_t data;
    for (size_t i = 0; i < sizeof wrong / sizeof *wrong; i++)
        refused = write_register(fd, wrong[i], 0xbadbadba) == BAD_ADDRESS &&
                  read_register(fd, wrong[i], &data) == BAD_ADDRESS && refused;
    check("an address without a register is answered with status 0x02", refused);
    check("an access to an address without a register changes nothing",
          has(fd, 0x3000, 0x600d600d) && has(fd, 0x3004, 0) && has(fd, SPACE - 4, 0));
    check("the first and the last register exist", write_register(fd, 0, 1) == DONE &&
                                                       write_register(fd, SPACE - 4, 2) == DONE && has(fd, 0, 1) &&
                                                       has(fd, SPACE - 4, 2));
    close(fd);
}

static void test_commands(const char* path) {
    static const uint8_t wrong[] = {0x00, 0x03, 0x81, 0xff};
    int fd = open_device(path);
    struct frame reply;
    bool refused = true;
    for (size_t i = 0; i < sizeof wrong; i++)
        refused = exchange(fd, make_frame(wrong[i], 0x3100, 0xbadbadba), &reply) == FRAME &&
                  reply.bytes[10] == UNKNOWN_COMMAND && refused;
    check("an unknown command is answered with status 0x01, and changes nothing", refused && has(fd, 0x3100, 0));
    close(fd);
}

static void test_forced_status(const char* path) {
    int fd = open_device(path);
    uint32_t data = 0;
    write_register(fd, 0x4000, 0x11111111);
    check("the status of the next replies can be forced", set(path, "status", "2 0x40") &&
                                                              read_register(fd, 0x4000, &data) == 0x40 &&
                                                              write_register(fd, 0x4000, 0x22222222) == 0x40);
    check("a read with a forced status returns the register", data == 0x11111111);
    check("a write with a forced status changes nothing", has(fd, 0x4000, 0x11111111));
    check("a forced status can be 0", set(path, "status", "1 0") && read_register(fd, 0x4000, &data) == 0);
    check("a forced status can be canceled",
          set(path, "status", "9 1") && set(path, "status", "0 0") && has(fd, 0x4000, 0x11111111));
    check("an invalid status is refused", !set(path, "status", "1 256") && !set(path, "status", "1 -5") &&
                                              !set(path, "status", "nonsense") && has(fd, 0x4000, 0x11111111));
    close(fd);
}

static void test_transfers(const char* path) {
    int fd = open_device(path);
    uint8_t bytes[2 * FRAME] = {READ_COMMAND};
    struct frame reply;
    bool reset = set(path, "transfer/calls", "0") && has(fd, 0x4000, 0x11111111);
    check("the next transfers can be made to fail",
          set(path, "transfer/force", "2 -5") &&
              fails_with(exchange(fd, make_frame(WRITE_COMMAND, 0x4000, 0x33333333), &reply), EIO) &&
              fails_with(exchange(fd, make_frame(READ_COMMAND, 0, 0), &reply), EIO));
    check("the device does not receive a failed transfer",
          last_frame_is(path, "02 00 00 40 00 00 00 00 00 00 00\n") && has(fd, 0x4000, 0x11111111));
    check("transfers of sizes other than 11 bytes fail with EINVAL",
          fails_with(exchange_sized(fd, bytes, bytes, FRAME - 1, 8), EINVAL) &&
              fails_with(exchange_sized(fd, bytes, bytes, 2 * FRAME, 8), EINVAL));
    check("transfers are counted", reset && get(path, "transfer/calls") == 6);
    check("words of sizes other than 8 bits fail with EINVAL",
          fails_with(exchange_sized(fd, bytes, bytes, FRAME, 16), EINVAL));
    check("a short transfer cannot be forced", !set(path, "transfer/force", "1 2"));
    close(fd);
}

struct user {
    const char* path;
    uint32_t address;
    bool served;
};

static void* use_register(void* argument) {
    struct user* user = argument;
    int fd = open_device(user->path);
    user->served = true;
    for (uint32_t i = 0; i < ROUNDS; i++)
        user->served = write_register(fd, user->address, user->address + i) == DONE &&
                       has(fd, user->address, user->address + i) && user->served;
    close(fd);
    return NULL;
}

static void test_concurrency(const char* path) {
    struct user users[] = {{path, 0x5000, false}, {path, 0x5004, false}};
    pthread_t threads[2];
    set(path, "transfer/calls", "0");
    for (int i = 0; i < 2; i++)
        pthread_create(&threads[i], NULL, use_register, &users[i]);
    for (int i = 0; i < 2; i++)
        pthread_join(threads[i], NULL);
    check("concurrent frames do not disturb each other", users[0].served && users[1].served);
    check("concurrent transfers are all counted", get(path, "transfer/calls") == 4 * ROUNDS);
}

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const char* path = argv[1];
    test_fresh(path);
    test_frames(path);
    test_registers_file(path);
    test_addresses(path);
    test_commands(path);
    test_forced_status(path);
    test_transfers(path);
    test_concurrency(path);
    check_kernel_warnings();
    return exit_status();
}

/* SPDX-License-Identifier: MIT */
/* Tests the UIO devices of the board. Runs in the guest. The arguments are the device paths, with the clock first. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "device_test.h"

#define SIZE 4096
#define LIMIT_SECONDS 60
#define SHORT_MS 150
#define LONG_MS 5000

enum clock_register { COUNTER = 0x00, MATCH = 0x04, INTERRUPT_MASK = 0x10, RAW = 0x14, MASKED = 0x18, CLEAR = 0x1C };

struct uio {
    const char* path;
    int fd;
    volatile uint32_t* registers;
};

static struct uio open_uio(const char* path) {
    struct uio uio = {path, open_device(path), NULL};
    uio.registers = map_registers(uio.fd, SIZE);
    if (!uio.registers) {
        perror(path);
        exit(2);
    }
    return uio;
}

static void close_uio(struct uio* uio) {
    munmap((void*)uio->registers, SIZE);
    close(uio->fd);
}

static long control(const struct uio* uio, int32_t value) { return write(uio->fd, &value, sizeof value); }

static bool enable(const struct uio* uio) { return control(uio, 1) == 4; }

static bool disable(const struct uio* uio) { return control(uio, 0) == 4; }

static bool raise_interrupt(const struct uio* uio) { return set(uio->path, "raise", "1"); }

/* Waits for an interrupt, and stores the number of interrupts so far. */
static bool receive(const struct uio* uio, uint32_t* count) {
    return read(uio->fd, count, sizeof *count) == sizeof *count;
}

static bool ready(const struct uio* uio, int timeout_ms) { return is_readable(uio->fd, timeout_ms); }

static pid_t raise_later(const struct uio* uio) { return raise_after(SHORT_MS, uio->path, "1"); }

static bool link_text(const char* path, char* text, size_t size) {
    ssize_t length = readlink(path, text, size - 1);
    text[length > 0 ? length : 0] = '\0';
    return length > 0;
}

/* Stores the value of a sysfs attribute of a UIO device. "path" is the link to the device file. */
static bool attribute(const char* path, const char* name, char* text, int size) {
    char link[32], file[128];
    if (!link_text(path, link, sizeof link))
        return false;
    snprintf(file, sizeof file, "/sys/class/uio/%s/%s", link, name);
    FILE* stream = fopen(file, "r");
    bool found = stream && fgets(text, size, stream);
    if (stream)
        fclose(stream);
    text[found ? strcspn(text, "\n") : 0] = '\0';
    return found;
}

static bool is_number(const char* text) { return text[0] && text[strspn(text, "0123456789")] == '\0'; }

static bool has_bare_link(const char* path) {
    char text[32], name[64];
    struct stat device;
    return link_text(path, text, sizeof text) && strncmp(text, "uio", 3) == 0 && is_number(text + 3) &&
           stat(path, &device) == 0 && S_ISCHR(device.st_mode) && attribute(path, "name", name, sizeof name) &&
           strcmp(name, strrchr(path, '/') + 1) == 0;
}

static bool has_page(const char* path) {
    char offset[32], size[32];
    return attribute(path, "maps/map0/offset", offset, sizeof offset) && offset[0] && strtoul(offset, NULL, 0) == 0 &&
           attribute(path, "maps/map0/size", size, sizeof size) && strtoul(size, NULL, 0) == SIZE;
}

static void test_links(int count, char** paths) {
    bool linked = true, sized = true;
    for (int i = 0; i < count; i++) {
        linked = has_bare_link(paths[i]) && linked;
        sized = has_page(paths[i]) && sized;
    }
    check("every device path is a relative link to the UIO device of that name", count > 0 && linked);
    check("every device has a map of 4096 bytes at offset 0", count > 0 && sized);
    printf("(%d devices)\n", count);
}

static bool is_fresh(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t bits = 0;
    for (int i = 0; i < SIZE / 4; i++)
        bits |= uio.registers[i];
    bool fresh = bits == 0 && get(path, "enabled") == 0 && get(path, "pending") == 0;
    close_uio(&uio);
    return fresh;
}

static void test_fresh(int count, char** paths) {
    bool fresh = true;
    for (int i = 0; i < count; i++)
        fresh = is_fresh(paths[i]) && fresh;
    check("the registers of every device are initially 0, and its interrupt is disabled", fresh);
}

static void test_separate(int count, char** paths) {
    struct uio* devices = calloc(count, sizeof *devices);
    bool separate = true;
    for (int i = 0; i < count; i++) {
        devices[i] = open_uio(paths[i]);
        devices[i].registers[1023] = i + 1;
        enable(&devices[i]);
    }
    raise_interrupt(&devices[count / 2]);
    for (int i = 0; i < count; i++) {
        separate = devices[i].registers[1023] == i + 1u && ready(&devices[i], 0) == (i == count / 2) && separate;
        disable(&devices[i]);
        close_uio(&devices[i]);
    }
    free(devices);
    check("every device has its own registers and its own interrupt", separate);
}

static bool register_becomes(volatile uint32_t* value, uint32_t wanted) {
    long end = milliseconds() + LONG_MS;
    while (*value != wanted && milliseconds() < end)
        pause_ms(1);
    return *value == wanted;
}

static void test_sharing(const char* path) {
    struct uio uio = open_uio(path);
    pid_t child = fork();
    if (child == 0) {
        struct uio other = open_uio(path);
        other.registers[4] = 0x12345678;
        _exit(register_becomes(&other.registers[5], 0x9abcdef0) ? 0 : 1);
    }
    bool seen = register_becomes(&uio.registers[4], 0x12345678);
    uio.registers[5] = 0x9abcdef0;
    check("two processes that map a device see each other's writes", ended_well(child) && seen);
    close_uio(&uio);
}

static void test_mapping(const char* path) {
    struct uio uio = open_uio(path);
    int beside = open_test_file(path, "registers");
    uint32_t value = 0;
    uio.registers[0x100 / 4] = 0xcafe0001;
    check("the test file shows the registers", pread(beside, &value, 4, 0x100) == 4 && value == 0xcafe0001);
    value = 0xcafe0002;
    check("a write to the test file changes the registers",
          pwrite(beside, &value, 4, 0x104) == 4 && uio.registers[0x104 / 4] == 0xcafe0002);
    check("the test file ends at the end of the page",
          pread(beside, &value, 4, SIZE) == 0 && fails_with(pwrite(beside, &value, 4, SIZE), ENOSPC));
    check("a mapping of more than the page fails with EINVAL", !map_registers(uio.fd, 2 * SIZE) && errno == EINVAL);
    close(beside);
    close_uio(&uio);
}

static void test_delivery(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t first = 0, second = 0;
    check("an enabled interrupt is delivered", enable(&uio) && get(path, "enabled") == 1 && !ready(&uio, 0) &&
                                                   raise_interrupt(&uio) && receive(&uio, &first));
    check("an interrupt is disabled after its delivery", get(path, "enabled") == 0 && !ready(&uio, 0));
    check("the count increases by 1",
          enable(&uio) && raise_interrupt(&uio) && receive(&uio, &second) && second == first + 1);
    close_uio(&uio);
}

static void test_blocking(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t count;
    enable(&uio);
    long begin = milliseconds();
    pid_t child = raise_later(&uio);
    bool received = receive(&uio, &count);
    check("a read blocks until the interrupt", received && milliseconds() - begin >= SHORT_MS && ended_well(child));
    close_uio(&uio);
}

static void test_pending(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t count;
    check("an interrupt that is raised while disabled is not delivered",
          raise_interrupt(&uio) && get(path, "pending") == 1 && !ready(&uio, SHORT_MS));
    check("the pending interrupt is delivered when the interrupt is enabled",
          enable(&uio) && ready(&uio, 0) && receive(&uio, &count) && get(path, "pending") == 0 &&
              get(path, "enabled") == 0);
    check("an interrupt that is disabled again is not delivered", enable(&uio) && disable(&uio) &&
                                                                      get(path, "enabled") == 0 &&
                                                                      raise_interrupt(&uio) && !ready(&uio, SHORT_MS));
    check("any value except 0 enables the interrupt", control(&uio, -7) == 4 && receive(&uio, &count));
    close_uio(&uio);
}

static void test_repeated(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t first = 0, second = 0;
    check("the first of three simultaneous interrupts is delivered",
          enable(&uio) && set(path, "raise", "3") && receive(&uio, &first) && !ready(&uio, 0));
    check("the other two are delivered as one interrupt when the interrupt is enabled again",
          enable(&uio) && receive(&uio, &second) && second == first + 1 && enable(&uio) && !ready(&uio, SHORT_MS));
    check("an invalid number of interrupts is refused", !set(path, "raise", "1001") && !set(path, "raise", "nonsense"));
    disable(&uio);
    close_uio(&uio);
}

static void test_poll(const char* path) {
    struct uio uio = open_uio(path);
    uint32_t count;
    enable(&uio);
    long begin = milliseconds();
    check("poll waits for its time-out", !ready(&uio, SHORT_MS) && milliseconds() - begin >= SHORT_MS);
    pid_t child = raise_later(&uio);
    begin = milliseconds();
    bool became_ready = ready(&uio, LONG_MS);
    check("poll ends with the interrupt", became_ready && milliseconds() - begin < LONG_MS / 2 && ended_well(child));
    check("poll reports the interrupt until the count is read",
          ready(&uio, 0) && receive(&uio, &count) && !ready(&uio, 0));
    close_uio(&uio);
}

static void test_descriptors(const char* path) {
    struct uio first = open_uio(path), second = open_uio(path);
    uint32_t count, same;
    check("every open file receives the interrupt", enable(&first) && raise_interrupt(&first) &&
                                                        receive(&first, &count) && ready(&second, 0) &&
                                                        receive(&second, &same) && same == count);
    check("transfers of sizes other than 4 bytes fail with EINVAL",
          fails_with(write(first.fd, &count, 2), EINVAL) && fails_with(read(first.fd, &count, 2), EINVAL));
    fcntl(first.fd, F_SETFL, O_NONBLOCK);
    check("a non-blocking read fails with EAGAIN", fails_with(read(first.fd, &count, 4), EAGAIN));
    close_uio(&first);
    close_uio(&second);
}

static void test_counts(const char* path) {
    struct uio uio = open_uio(path);
    bool reset = set(path, "enable/calls", "0") && set(path, "disable/calls", "0");
    check("enabling and disabling are counted", reset && enable(&uio) && enable(&uio) && disable(&uio) &&
                                                    get(path, "enable/calls") == 2 && get(path, "disable/calls") == 1);
    close_uio(&uio);
}

static void test_failures(const char* path) {
    struct uio uio = open_uio(path);
    disable(&uio);
    check("the next enabling can be made to fail", set(path, "enable/force", "2 -5") &&
                                                       fails_with(control(&uio, 1), EIO) && disable(&uio) &&
                                                       fails_with(control(&uio, 1), EIO));
    check("a failed enabling changes nothing", get(path, "enabled") == 0 && enable(&uio) && get(path, "enabled") == 1);
    check("the next disabling can be made to fail and changes nothing",
          set(path, "disable/force", "1 -6") && fails_with(control(&uio, 0), ENXIO) && get(path, "enabled") == 1);
    check("a forced short transfer is refused", !set(path, "enable/force", "1 2"));
    check("disabling works again after the forced failure", disable(&uio) && get(path, "enabled") == 0);
    close_uio(&uio);
}

static uint32_t clock_read(const struct uio* clock, enum clock_register address) {
    return clock->registers[address / 4];
}

static void clock_write(const struct uio* clock, enum clock_register address, uint32_t value) {
    clock->registers[address / 4] = value;
}

static void test_counter(const char* path) {
    struct uio clock = open_uio(path);
    uint32_t first = clock_read(&clock, COUNTER);
    pause_ms(2000);
    uint32_t seconds = clock_read(&clock, COUNTER) - first;
    check("the clock counts seconds", seconds >= 2 && seconds <= 3);
    check("the clock counts from 1970", labs((long)(clock_read(&clock, COUNTER) - (uint32_t)time(NULL))) <= 2);
    check("the kernel has no clock with the name rtc0", access("/sys/class/rtc/rtc0", F_OK) == -1);
    close_uio(&clock);
}

static void set_match(const struct uio* clock, uint32_t seconds) {
    clock_write(clock, CLEAR, 1);
    clock_write(clock, MATCH, clock_read(clock, COUNTER) + seconds);
    clock_write(clock, INTERRUPT_MASK, 1);
}

static bool matched_just_now(const struct uio* clock) {
    return clock_read(clock, COUNTER) - clock_read(clock, MATCH) <= 1;
}

static void test_match(const char* path) {
    struct uio clock = open_uio(path);
    uint32_t first = 0, second = 0;
    bool prepared = enable(&clock) && !ready(&clock, 0);
    set_match(&clock, 2);
    long begin = milliseconds();
    bool received = receive(&clock, &first);
    long elapsed = milliseconds() - begin;
    printf("(match interrupt %ld ms after it was set to 2 s)\n", elapsed);
    check("the match interrupt ends a read within a second of its time",
          prepared && received && matched_just_now(&clock) && elapsed > 900 && elapsed < 3000);
    check("the registers of the clock show its interrupt",
          clock_read(&clock, RAW) == 1 && clock_read(&clock, MASKED) == 1);
    check("the match interrupt is disabled after its delivery", get(path, "enabled") == 0 && !ready(&clock, SHORT_MS));
    check("an interrupt that was not cleared is delivered again",
          enable(&clock) && receive(&clock, &second) && second == first + 1);
    clock_write(&clock, CLEAR, 1);
    check("a cleared interrupt is not delivered again",
          clock_read(&clock, RAW) == 0 && enable(&clock) && !ready(&clock, SHORT_MS));
    disable(&clock);
    close_uio(&clock);
}

static void test_disabled_match(const char* path) {
    struct uio clock = open_uio(path);
    uint32_t count;
    set_match(&clock, 1);
    bool reached = register_becomes(&clock.registers[RAW / 4], 1);
    check("a match interrupt is not delivered while the interrupt is disabled", reached && !ready(&clock, SHORT_MS));
    check("an interrupt that is not cleared is delivered each time the interrupt is enabled",
          enable(&clock) && receive(&clock, &count) && enable(&clock) && receive(&clock, &count));
    clock_write(&clock, CLEAR, 1);
    clock_write(&clock, INTERRUPT_MASK, 0);
    check("disabling an interrupt twice has the same effect as disabling it once",
          disable(&clock) && disable(&clock) && enable(&clock) && !ready(&clock, 0));
    set_match(&clock, 1);
    check("the next match interrupt is delivered without delay", ready(&clock, LONG_MS) && matched_just_now(&clock));
    clock_write(&clock, CLEAR, 1);
    close_uio(&clock);
}

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    alarm(LIMIT_SECONDS);
    char** others = argv + 2;
    int count = argc - 2;
    test_links(argc - 1, argv + 1);
    test_fresh(count, others);
    test_separate(count, others);
    const char* path = others[count - 1];
    test_sharing(path);
    test_mapping(path);
    test_delivery(path);
    test_blocking(path);
    test_pending(path);
    test_repeated(path);
    test_poll(path);
    test_descriptors(path);
    test_counts(path);
    test_failures(path);
    test_counter(argv[1]);
    test_match(argv[1]);
    test_disabled_match(argv[1]);
    test_counts(argv[1]);
    test_failures(argv[1]);
    check_kernel_warnings();
    return exit_status();
}

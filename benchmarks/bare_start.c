/* SPDX-License-Identifier: MIT */
/*
 * Does only the work that two commands of rynvelctl cannot avoid. Without arguments, the program prints a version. With
 * arguments, it reads a 32-bit register of a register server, and prints the value. A benchmark compares the start of
 * rynvelctl with this program.
 * Usage: bare_start [PORT DEVICE], for a server on the loopback interface.
 */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

/* The records of the protocol, with big-endian words. */
struct request {
    uint32_t type;
    char name[128];
    uint32_t address;
    uint32_t values[128];
    uint32_t length;
    uint32_t byte_order;
    uint32_t mask;
};

struct response {
    uint32_t result;
    uint32_t values[128];
    uint32_t length;
};

enum { open_type = 0, read32_type = 4 };

static struct response exchange(int connection, const struct request* request) {
    struct response response;
    if (send(connection, request, sizeof(*request), MSG_NOSIGNAL) != (ssize_t)sizeof(*request) ||
        recv(connection, &response, sizeof(response), MSG_WAITALL) != (ssize_t)sizeof(response) ||
        response.result != 0) {
        fputs("bare_start: the request has failed (the server refuses it, or the connection has ended)\n", stderr);
        exit(EXIT_FAILURE);
    }
    return response;
}

static uint32_t read_register(uint16_t port, const char* name) {
    struct sockaddr_in address;
    struct request request;
    const int on = 1;
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    memset(&address, 0, sizeof(address));
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection, (const struct sockaddr*)&address, sizeof(address)) != 0) {
        perror("bare_start");
        exit(EXIT_FAILURE);
    }
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    memset(&request, 0, sizeof(request));
    strncpy(request.name, name, sizeof(request.name) - 1);
    request.type = htonl(open_type);
    exchange(connection, &request);
    request.type = htonl(read32_type);
    request.length = htonl(1);
    const uint32_t value = ntohl(exchange(connection, &request).values[0]);
    close(connection);
    return value;
}

int main(int argc, char** argv) {
    if (argc == 3) {
        printf("%s 0x00000000 = 0x%08x\n", argv[2],
               (unsigned int)read_register((uint16_t)strtoul(argv[1], NULL, 10), argv[2]));
    } else {
        puts("bare_start 1.0.0");
    }
    return EXIT_SUCCESS;
}

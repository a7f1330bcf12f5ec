// Many meters in one process, for load: meterfarm FIRST_PORT COUNT listens on that many consecutive ports of 127.0.0.1 and answers
// reads (functions 3 and 4) of a UMG's register blocks with fixed values, writes (function 6) with their echo, and reads of registers it
// does not have with exception 2. It prints one line when it listens and ends with its parent or by a signal.

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <math.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

enum { header_size = 7, request_size = 12, longest_answer = header_size + 2 + 250, most_descriptors = 8192, events_at_once = 64 };

static uint16_t registers[65536];
static uint8_t present[65536];

struct connection {
    uint8_t received[16 * request_size];
    size_t size;
};
static struct connection *connections[most_descriptors];  // by descriptor; none for a listener

static void put_float(int address, float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    registers[address] = (uint16_t)(bits >> 16);
    registers[address + 1] = (uint16_t)bits;
    present[address] = present[address + 1] = 1;
}

static void put_phases(int address, float value, float step) {
    for (int k = 0; k < 3; ++k) put_float(address + 2 * k, value + step * (float)k);
}

static void fill_registers(void) {
    static const struct {
        int first, count;
    } blocks[] = {{800, 100}, {900, 42}, {10085, 6}, {10873, 4}, {11631, 12}, {19000, 122}};
    for (size_t b = 0; b < sizeof blocks / sizeof *blocks; ++b)
        for (int i = 0; i < blocks[b].count; i += 2) put_float(blocks[b].first + i, 0.5f + 0.01f * (float)i);

    put_float(802, 2.5f);
    put_float(804, 0.4f);
    put_float(806, 230.2f);
    const float third = 2.0943951f;
    for (int k = 0; k < 3; ++k) {
        put_float(848 + 2 * k, 230.2f * cosf(-third * (float)k));
        put_float(854 + 2 * k, 230.2f * sinf(-third * (float)k));
        put_float(926 + 2 * k, 20.0f * cosf(-third * (float)k - 0.3f));
        put_float(932 + 2 * k, 20.0f * sinf(-third * (float)k - 0.3f));
    }
    put_float(920, 1.1f);
    put_float(922, 1.3f);
    put_float(924, 20.0f);
    put_float(10085, 3.2f);
    put_float(10873, 0.004f);
    put_float(10875, 0.002f);
    put_phases(11631, 1.41f, 0.001f);
    put_phases(11637, 1.44f, 0.001f);

    put_phases(19000, 230.0f, 0.3f);     // voltages
    put_phases(19006, 398.4f, 0.4f);     // line to line
    put_phases(19012, 20.0f, 1.5f);      // currents
    put_float(19018, 3.1f);              // neutral
    put_phases(19020, 4300.0f, 250.0f);  // active power
    put_float(19026, 13650.0f);
    put_phases(19028, 4600.0f, 270.0f);  // apparent power
    put_float(19034, 14610.0f);
    put_phases(19036, 1600.0f, 90.0f);  // reactive power
    put_float(19042, 5070.0f);
    put_phases(19044, 0.93f, 0.01f);  // power factors
    put_float(19050, 50.01f);         // frequency
    put_float(19052, 1.0f);           // rotating field
    for (int a = 19054; a < 19110; a += 2) put_float(a, 125000.0f + (float)(a - 19054) * 100.0f);  // counters
    put_phases(19110, 1.8f, 0.1f);   // THD of voltages
    put_phases(19116, 9.0f, 0.5f);   // THD of currents
}

static uint16_t word_at(const uint8_t *bytes) { return (uint16_t)(bytes[0] << 8 | bytes[1]); }

static void put_word(uint8_t *bytes, uint16_t value) {
    bytes[0] = (uint8_t)(value >> 8);
    bytes[1] = (uint8_t)value;
}

// The answer to one request of 12 bytes; its size.
static size_t answer_to(const uint8_t *request, uint8_t *answer) {
    const uint8_t function = request[7];
    const int address = word_at(request + 8), count = word_at(request + 10);
    memcpy(answer, request, request_size);
    put_word(answer + 2, 0);
    if (function == 6) return request_size;
    uint8_t code = 0;
    if (function != 3 && function != 4)
        code = 1;
    else if (count < 1 || count > 125 || address + count > 65536 || memchr(present + address, 0, (size_t)count) != NULL)
        code = 2;
    if (code != 0) {
        put_word(answer + 4, 3);
        answer[7] = function | 0x80;
        answer[8] = code;
        return header_size + 2;
    }
    put_word(answer + 4, (uint16_t)(3 + 2 * count));
    answer[8] = (uint8_t)(2 * count);
    for (int i = 0; i < count; ++i) put_word(answer + 9 + 2 * i, registers[address + i]);
    return (size_t)(header_size + 2 + 2 * count);
}

// 0 when the connection is over.
static int serve(int descriptor, struct connection *connection) {
    const ssize_t count = recv(descriptor, connection->received + connection->size, sizeof connection->received - connection->size, 0);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) return 0;
    connection->size += (size_t)count;
    size_t used = 0;
    for (; connection->size - used >= request_size; used += request_size) {
        const uint8_t *request = connection->received + used;
        if (word_at(request + 4) != request_size - 6) return 0;
        uint8_t answer[longest_answer];
        const size_t size = answer_to(request, answer);
        // A client that does not take its answer is no client of this server.
        if (send(descriptor, answer, size, MSG_NOSIGNAL) != (ssize_t)size) return 0;
    }
    connection->size -= used;
    memmove(connection->received, connection->received + used, connection->size);
    return 1;
}

static void watch(int epoll, int descriptor) {
    struct epoll_event event = {.events = EPOLLIN, .data.fd = descriptor};
    epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

static void accept_one(int epoll, int listener) {
    const int descriptor = accept4(listener, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0) return;
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    struct connection *connection = descriptor < most_descriptors ? calloc(1, sizeof *connection) : NULL;
    if (connection == NULL) {
        close(descriptor);
        return;
    }
    connections[descriptor] = connection;
    watch(epoll, descriptor);
}

static int listen_on(uint16_t port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const struct sockaddr_in address = {.sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {.s_addr = htonl(INADDR_LOOPBACK)}};
    if (listener < 0 || bind(listener, (const struct sockaddr *)&address, sizeof address) != 0 || listen(listener, 64) != 0) {
        fprintf(stderr, "meterfarm: port %u: %s\n", port, strerror(errno));
        exit(1);
    }
    return listener;
}

int main(int argc, char **argv) {
    const int first = argc == 3 ? atoi(argv[1]) : 0, count = argc == 3 ? atoi(argv[2]) : 0;
    if (first < 1 || count < 1 || first + count > 65536 || count > 1024) {
        fprintf(stderr, "usage: meterfarm FIRST_PORT COUNT\n");
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    fill_registers();
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    for (int i = 0; i < count; ++i) watch(epoll, listen_on((uint16_t)(first + i)));
    printf("meterfarm: ports %d to %d\n", first, first + count - 1);
    fflush(stdout);
    for (;;) {
        struct epoll_event events[events_at_once];
        const int ready = epoll_wait(epoll, events, events_at_once, -1);
        for (int i = 0; i < ready; ++i) {
            const int descriptor = events[i].data.fd;
            struct connection *connection = connections[descriptor];
            if (connection == NULL) {
                accept_one(epoll, descriptor);
            } else if (!serve(descriptor, connection)) {
                connections[descriptor] = NULL;
                free(connection);
                close(descriptor);
            }
        }
    }
}

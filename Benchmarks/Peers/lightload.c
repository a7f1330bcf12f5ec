// A show's worth of lighting data over loopback: lightload ARTNET_PORT UNIVERSES SACN_PORT UNIVERSES FRAMES_A_SECOND SECONDS sends
// every universe of both protocols to 127.0.0.1 in each frame, all in one go as a console does. Universes count from 1. It prints
// one line when it begins, then what it has sent, and ends by itself, with its parent or by a signal.

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>

enum { artnet_size = 530, artnet_slots_at = 18, sacn_size = 638, sacn_slots_at = 126, most_universes = 32767, most_at_once = 512 };

struct packet {
    uint8_t bytes[sacn_size];
    struct iovec part;
};

static void fill_artnet(struct packet* packet, int universe) {
    uint8_t* p = packet->bytes;
    memcpy(p, "Art-Net", 8);
    p[9] = 0x50;                       // OpDmx, low byte first
    p[11] = 14;                        // protocol version
    p[14] = (uint8_t)universe;         // SubUni
    p[15] = (uint8_t)(universe >> 8);  // Net
    p[16] = 2;                         // 512 slots
    packet->part = (struct iovec){p, artnet_size};
}

static void fill_sacn(struct packet* packet, int universe) {
    uint8_t* p = packet->bytes;
    p[1] = 0x10;
    memcpy(p + 4, "ASC-E1.17", 9);
    p[16] = 0x72, p[17] = 0x6E, p[21] = 4;
    memcpy(p + 22, "benchmark source", 16);  // CID
    p[38] = 0x72, p[39] = 0x58, p[43] = 2;
    strcpy((char*)p + 44, "Pult Saal");
    p[108] = 100;  // priority
    p[113] = (uint8_t)(universe >> 8);
    p[114] = (uint8_t)universe;
    p[115] = 0x72, p[116] = 0x0B, p[117] = 0x02, p[118] = 0xA1, p[122] = 1, p[123] = 2, p[124] = 1;
    packet->part = (struct iovec){p, sacn_size};
}

static void age(struct timespec* time, long nanoseconds) {
    time->tv_nsec += nanoseconds;
    while (time->tv_nsec >= 1000000000) {
        time->tv_nsec -= 1000000000;
        ++time->tv_sec;
    }
}

int main(int count, char** words) {
    if (count != 7) {
        fprintf(stderr, "lightload ARTNET_PORT UNIVERSES SACN_PORT UNIVERSES FRAMES_A_SECOND SECONDS\n");
        return 2;
    }
    const int artnet = atoi(words[2]), sacn = atoi(words[4]), total = artnet + sacn, rate = atoi(words[5]);
    if (artnet < 0 || artnet > most_universes || sacn < 0 || sacn > most_universes || total == 0 || rate < 1) return 2;
    prctl(PR_SET_PDEATHSIG, SIGTERM);

    struct sockaddr_in to[2] = {{.sin_family = AF_INET, .sin_port = htons((uint16_t)atoi(words[1]))},
                                {.sin_family = AF_INET, .sin_port = htons((uint16_t)atoi(words[3]))}};
    to[0].sin_addr.s_addr = to[1].sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    struct packet* packets = calloc((size_t)total, sizeof *packets);
    struct mmsghdr* messages = calloc((size_t)total, sizeof *messages);
    const int out = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (!packets || !messages || out < 0) return 1;
    for (int i = 0; i < total; ++i) {
        if (i < artnet)
            fill_artnet(&packets[i], i + 1);
        else
            fill_sacn(&packets[i], i - artnet + 1);
        messages[i].msg_hdr = (struct msghdr){
            .msg_name = &to[i < artnet ? 0 : 1], .msg_namelen = sizeof to[0], .msg_iov = &packets[i].part, .msg_iovlen = 1};
    }
    printf("sending\n");
    fflush(stdout);

    const long frames = (long)rate * atol(words[6]);
    long long sent = 0, refused = 0;
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (long frame = 1; frame <= frames; ++frame) {
        for (int i = 0; i < total; ++i) {
            uint8_t* p = packets[i].bytes;
            if (i < artnet)
                p[12] = (uint8_t)(frame % 255 + 1), p[artnet_slots_at] = (uint8_t)frame;
            else
                p[111] = p[sacn_slots_at] = (uint8_t)frame;
        }
        for (int i = 0; i < total;) {
            const int done = sendmmsg(out, messages + i, (unsigned)(total - i < most_at_once ? total - i : most_at_once), 0);
            if (done > 0)
                i += done, sent += done;
            else if (errno != EINTR)
                ++i, ++refused;
        }
        age(&next, 1000000000 / rate);
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, NULL) == EINTR) {}
    }
    printf("%lld sent, %lld refused\n", sent, refused);
    return 0;
}

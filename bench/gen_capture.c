/* Writes a capture file of made-up sessions to standard output: gen_capture SESSIONS [PACKETS_EACH [HOSTS]], with so
   many clients, servers and names. Of five sessions three are requests over HTTP, one is enciphered, one is a name asked
   and answered; a thousand go on at a time. Frames are cut at 256 bytes, as captures for analysis often are. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { SNAP = 256, AT_ONCE = 1000 };

static uint8_t frame[2048];
static size_t used;
static uint64_t now = 1700000000000000;
static uint32_t hosts = 65536;

static void put8(unsigned value)
{
    frame[used++] = (uint8_t)value;
}
static void put16(unsigned value)
{
    put8(value >> 8);
    put8(value);
}
static void put32(uint32_t value)
{
    put16(value >> 16);
    put16(value & 0xffff);
}
static void put_bytes(const void* bytes, size_t size)
{
    memcpy(frame + used, bytes, size);
    used += size;
}

static uint32_t mixed(uint32_t number)
{
    number = (number ^ number >> 16) * 0x7feb352d;
    number = (number ^ number >> 15) * 0x846ca68b;
    return number ^ number >> 16;
}

static void put_ip(uint32_t from, uint32_t to, unsigned protocol, unsigned length)
{
    used = 0;
    put_bytes("\2\0\0\0\0\1\2\0\0\0\0\2\x08", 13);
    put8(0);
    put16(0x4500);
    put16(20 + length);
    put32(0x00014000);
    put8(64);
    put8(protocol);
    put16(0);
    put32(from);
    put32(to);
}

static void write_frame(void)
{
    uint32_t length = (uint32_t)used, kept = length < SNAP ? length : SNAP;
    uint32_t header[4] = {(uint32_t)(now / 1000000), (uint32_t)(now % 1000000), kept, length};
    fwrite(header, sizeof header, 1, stdout);
    fwrite(frame, kept, 1, stdout);
    now += 5;
}

struct session {
    uint32_t number, name, client, server;
    uint16_t port;
};

static struct session session_number(uint32_t number)
{
    uint32_t client = mixed(number) % hosts, server = mixed(~number) % hosts;
    struct session session = {number, server, 0x0a000000 + client, 0x40000000 + server,
                              (uint16_t)(1024 + number % 60000)};
    return session;
}

/* One segment of a TCP session; `sent` bytes came before it from its sender, `got` from the other side. */
static void segment(const struct session* s, int up, unsigned flags, uint32_t sent, uint32_t got, const void* payload,
                    unsigned size, unsigned port)
{
    put_ip(up ? s->client : s->server, up ? s->server : s->client, 6, 20 + size);
    put16(up ? s->port : port);
    put16(up ? port : s->port);
    put32(1000 + sent);
    put32((flags & 16) != 0 ? 1000 + got : 0);
    put8(0x50);
    put8(flags);
    put16(500);
    put32(0);
    put_bytes(payload, size);
    write_frame();
}

static void datagram(const struct session* s, int up)
{
    char message[128], name[32];
    int length = snprintf(name, sizeof name, "host%u", s->name);
    int size = 12;
    memset(message, 0, sizeof message);
    message[2] = up ? 1 : (char)0x81;
    message[5] = 1;
    message[7] = up ? 0 : 1;
    message[size++] = (char)length;
    memcpy(message + size, name, (size_t)length);
    size += length;
    memcpy(message + size, "\7example\0\0\1\0\1", 13);
    size += 13;
    if (!up) {
        memcpy(message + size, "\xc0\x0c\0\1\0\1\0\0\0\x3c\0\4", 12);
        memcpy(message + size + 12, &s->server, 4);
        size += 16;
    }
    put_ip(up ? s->client : s->server, up ? s->server : s->client, 17, 8 + (unsigned)size);
    put16(up ? s->port : 53);
    put16(up ? 53 : s->port);
    put16(8 + (unsigned)size);
    put16(0);
    put_bytes(message, (size_t)size);
    write_frame();
}

/* What the client says first: a request, or the hello of a cipher with a server's name. */
static unsigned opening(const struct session* s, int enciphered, char* text)
{
    if (!enciphered)
        return (unsigned)sprintf(text, "GET /%u HTTP/1.1\r\nHost: www%u.example\r\nUser-Agent: bench/1\r\n\r\n",
                                 s->number, s->name);
    char name[32];
    int n = sprintf(name, "tls%u.example", s->name);
    int body = 2 + 32 + 1 + 4 + 2 + 2 + 9 + n;
    unsigned at = 0;
    const uint8_t head[] = {22, 3, 1, 0, (uint8_t)(body + 4), 1, 0, 0, (uint8_t)body, 3, 3};
    memcpy(text, head, sizeof head);
    at = sizeof head;
    memset(text + at, 'r', 32);
    at += 32;
    const uint8_t rest[] = {0, 0, 2, 0x13, 1, 1, 0, 0, (uint8_t)(9 + n), 0, 0, 0, (uint8_t)(5 + n), 0, (uint8_t)(3 + n),
                            0, 0, (uint8_t)n};
    memcpy(text + at, rest, sizeof rest);
    at += sizeof rest;
    memcpy(text + at, name, (size_t)n);
    return at + (unsigned)n;
}

/* Packet k of a session of so many. */
static void write_packet(const struct session* s, unsigned k, unsigned packets)
{
    unsigned kind = s->number % 5, port = kind == 3 ? 443 : 80;
    static const char answer[] = "HTTP/1.1 200 OK\r\nServer: bench\r\n\r\n";
    static char data[1400];
    if (kind == 4) {
        if (k < 2)
            datagram(s, k == 0);
        return;
    }
    char text[256];
    unsigned asked = opening(s, kind == 3, text);
    if (k == 0)
        segment(s, 1, 2, 0, 0, "", 0, port);
    else if (k == 1)
        segment(s, 0, 18, 0, 1, "", 0, port);
    else if (k == 2)
        segment(s, 1, 16, 1, 1, "", 0, port);
    else if (k == 3)
        segment(s, 1, 24, 1, 1, text, asked, port);
    else if (k == 4)
        segment(s, 0, 24, 1, 1 + asked, kind == 3 ? data : answer, sizeof answer - 1, port);
    else if (k + 1 == packets)
        segment(s, 0, 17, (uint32_t)(sizeof answer + (k - 5) * sizeof data), 1 + asked, "", 0, port);
    else
        segment(s, 0, 16, (uint32_t)(sizeof answer + (k - 5) * sizeof data), 1 + asked, data, sizeof data, port);
}

int main(int argc, char** argv)
{
    uint32_t sessions = argc > 1 ? (uint32_t)strtoul(argv[1], NULL, 10) : 1000;
    unsigned packets = argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 8;
    if (argc > 3)
        hosts = (uint32_t)strtoul(argv[3], NULL, 10);
    uint32_t header[6] = {0xa1b2c3d4, 4 << 16 | 2, 0, 0, SNAP, 1};
    fwrite(header, sizeof header, 1, stdout);
    for (uint32_t first = 0; first < sessions; first += AT_ONCE)
        for (unsigned k = 0; k < packets; k++)
            for (uint32_t i = first; i < sessions && i < first + AT_ONCE; i++) {
                struct session session = session_number(i);
                write_packet(&session, k, packets);
            }
    return fflush(stdout) != 0;
}

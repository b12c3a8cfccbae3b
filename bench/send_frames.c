/* Sends the frames of a capture file on standard input out of the loopback interface, as fast as it takes them, and says
   how many there were. Needs the right to do so, as in a network namespace of one's own. */
#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/socket.h>

int main(void)
{
    static uint8_t frame[65536];
    uint32_t header[4]; /* seconds, microseconds, bytes kept, bytes */
    struct sockaddr_ll to = {.sll_family = AF_PACKET, .sll_protocol = htons(ETH_P_IP), .sll_halen = ETH_ALEN,
                             .sll_ifindex = (int)if_nametoindex("lo")};
    unsigned long sent = 0;
    int fd = socket(AF_PACKET, SOCK_RAW, 0);
    if (fd < 0 || fread(frame, 24, 1, stdin) != 1) {
        perror("send_frames");
        return 1;
    }
    while (fread(header, sizeof header, 1, stdin) == 1 && header[2] <= sizeof frame && fread(frame, header[2], 1, stdin) == 1)
        sent += sendto(fd, frame, header[2], 0, (struct sockaddr*)&to, sizeof to) == (ssize_t)header[2];
    printf("%lu\n", sent);
    return 0;
}

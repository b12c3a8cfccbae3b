#pragma once
// Control socket endpoints. An address is a UNIX-domain path (no ':'), or host ":" port (IPv4), either with
// an optional "udp:" in front. The host is "0.0.0.0", every address, or a dotted address that the C library
// reads as base/address does. All messages go to standard output.
#include <cstdint>

enum AddressKind : int { address_invalid = -1, address_unix = 1, address_ipv4 = 2 };

// Classifies `address` in place: the ':' is overwritten by a NUL, `port` (host order) is set for IPv4.
AddressKind classify_address(char* address, int& port);

// A connected, blocking stream socket, or -1 (silent when the peer refuses).
int socket_connect(const char* address);

// A bound non-blocking socket: listening stream, or datagram after "udp:"; or -1 with a message.
int socket_listen(const char* address);

// The next connection within `timeout` milliseconds (0 or less: does not wait), or a negative value.
int socket_accept(int listener, int timeout);

// A non-blocking IPv4 datagram socket on every address and `port`, or -1 with a message.
int udp_listen(uint16_t port);

bool wait_readable(int fd, int timeout_ms);

// Move the whole length in pieces of at most 1400 bytes; 0, or -1. A length below 1 gives 0 at once.
int send_all(int fd, const void* data, int length);
int receive_all(int fd, void* data, int length);

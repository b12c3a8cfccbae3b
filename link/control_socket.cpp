#include "link/control_socket.h"

#include "base/address.h"
#include "base/document.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr std::string_view datagram_prefix = "udp:";
constexpr int piece_max = 1400;     // bytes moved by one call
constexpr size_t address_max = 128; // no address of either family is longer

// A classified address, ready for bind or connect.
struct Endpoint {
    AddressKind kind = address_invalid;
    socklen_t size = 0;
    union {
        sockaddr any;
        sockaddr_un local;
        sockaddr_in ipv4;
    } address{};
};

// `text` without its "udp:". An address that fits neither form, or a path longer than a socket address holds,
// is invalid.
Endpoint endpoint_of(const char* text)
{
    Endpoint end;
    char copy[address_max];
    size_t length = strlen(text);
    if (length >= sizeof copy)
        return end;
    memcpy(copy, text, length + 1);
    int port = 0;
    AddressKind kind = classify_address(copy, port);
    if (kind == address_unix && length < sizeof end.address.local.sun_path) {
        end.kind = kind;
        end.size = sizeof end.address.local; // the daemons bind and we connect with the whole structure
        end.address.local.sun_family = AF_UNIX;
        memcpy(end.address.local.sun_path, copy, length + 1);
    } else if (kind == address_ipv4) {
        end.kind = kind;
        end.size = sizeof end.address.ipv4;
        end.address.ipv4.sin_family = AF_INET;
        end.address.ipv4.sin_port = htons(static_cast<uint16_t>(port));
        end.address.ipv4.sin_addr.s_addr = htonl(ipv4_or_zero(copy));
    }
    return end;
}

// A host that reads as 0 is an error; only the literal stands for every address. One that others take as
// another address ("010.0.0.1" begins with 8 for them) is an error too.
bool is_host(const char* text)
{
    uint32_t address = ipv4_or_zero(text);
    in_addr by_others{};
    return strcmp(text, "0.0.0.0") == 0 ||
           (address != 0 && inet_aton(text, &by_others) != 0 && ntohl(by_others.s_addr) == address);
}

int family_of(const Endpoint& end)
{
    return end.kind == address_unix ? AF_UNIX : AF_INET;
}

int fail_and_close(const char* what, int fd)
{
    note(FORMAT("{} {}"), text_of(what), text_of(strerror(errno)));
    close(fd);
    return -1;
}

int set_non_blocking(int fd)
{
    int on = 1;
    ioctl(fd, FIONBIO, &on);
    return fd;
}

int bind_ipv4(int fd, const Endpoint& end)
{
    int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
    return bind(fd, &end.address.any, end.size);
}

} // namespace

AddressKind classify_address(char* address, int& port)
{
    char* colon = strchr(address, ':');
    if (colon == nullptr)
        return address_unix;
    *colon = '\0';
    port = atoi(colon + 1);
    if (port < 1 || port > 65535)
        return address_invalid;
    return is_host(address) ? address_ipv4 : address_invalid;
}

int socket_connect(const char* address)
{
    if (std::string_view(address).starts_with(datagram_prefix))
        address += datagram_prefix.size();
    Endpoint end = endpoint_of(address);
    if (end.kind == address_invalid) {
        note("socket_connect: invalid path");
        return -1;
    }
    int fd = socket(family_of(end), SOCK_STREAM, 0);
    if (fd < 0) {
        note(FORMAT("socket_connect: socket fail with {}"), text_of(strerror(errno)));
        return -1;
    }
    if (connect(fd, &end.address.any, end.size) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int socket_listen(const char* address)
{
    bool datagram = std::string_view(address).starts_with(datagram_prefix);
    if (datagram)
        address += datagram_prefix.size();
    Endpoint end = endpoint_of(address);
    if (end.kind == address_invalid) {
        note("socket_listen: invalid path");
        return -1;
    }
    int fd = socket(family_of(end), datagram ? SOCK_DGRAM : SOCK_STREAM, 0);
    if (fd < 0) {
        note(FORMAT("socket_listen: socket fail with {}, path={}"), text_of(strerror(errno)),
             text_of(address));
        return -1;
    }
    if (end.kind == address_unix) {
        unlink(end.address.local.sun_path);
        if (bind(fd, &end.address.any, end.size) != 0)
            return fail_and_close("bind unix fail", fd);
    } else if (bind_ipv4(fd, end) != 0) {
        return fail_and_close("bind tcp fail", fd); // the same words for a datagram socket
    }
    if (!datagram && listen(fd, 1024) != 0)
        return fail_and_close("listen fail", fd);
    return set_non_blocking(fd);
}

int socket_accept(int listener, int timeout)
{
    if (timeout > 0 && !wait_readable(listener, timeout))
        return -1;
    int fd = accept(listener, nullptr, nullptr);
    if (fd < 0 && errno != EAGAIN)
        note(FORMAT("socket_accept: {}({})"), text_of(strerror(errno)), errno);
    return fd;
}

int udp_listen(uint16_t port)
{
    Endpoint end;
    end.kind = address_ipv4;
    end.size = sizeof end.address.ipv4;
    end.address.ipv4.sin_family = AF_INET;
    end.address.ipv4.sin_port = htons(port);
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        note(FORMAT("udp_listen: socket fail with {}"), text_of(strerror(errno)));
        return -1;
    }
    if (bind_ipv4(fd, end) != 0)
        return fail_and_close("bind tcp fail", fd);
    return set_non_blocking(fd);
}

bool wait_readable(int fd, int timeout_ms)
{
    pollfd entry{.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&entry, 1, timeout_ms) > 0;
}

int send_all(int fd, const void* data, int length)
{
    const auto* at = static_cast<const char*>(data);
    while (length > 0) {
        ssize_t n = send(fd, at, static_cast<size_t>(length < piece_max ? length : piece_max), 0);
        if (n < 1)
            return -1;
        at += n;
        length -= static_cast<int>(n);
    }
    return 0;
}

int receive_all(int fd, void* data, int length)
{
    auto* at = static_cast<char*>(data);
    int missed_waits = length / 8192 + 2;
    while (length > 0) {
        if (!wait_readable(fd, 1000) && --missed_waits == 0)
            return -1;
        // Received whether or not the wait succeeded: the socket blocks, so the budget counts slow seconds
        // instead of bounding the wait.
        ssize_t n = recv(fd, at, static_cast<size_t>(length < piece_max ? length : piece_max), 0);
        if (n < 1)
            return -1;
        at += n;
        length -= static_cast<int>(n);
    }
    return 0;
}

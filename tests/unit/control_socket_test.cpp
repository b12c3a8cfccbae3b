#include "link/control_socket.h"

#include "tests/support/captured_output.h"
#include "tests/support/fresh_folder.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

// Stands before the C library's in this program: nothing that a test can arrange makes it fail.
static bool listen_fails = false;
static int backlog = 0;
extern "C" int listen(int fd, int waiting) noexcept
{
    backlog = waiting;
    errno = EADDRINUSE;
    return listen_fails ? -1 : static_cast<int>(syscall(SYS_listen, fd, waiting));
}

// As long as waits are to be missed, nothing is there to be read. A checked build calls the second name.
static int misses = 0, last_wait = 0;
static int wait_for(pollfd* ends, nfds_t count, int timeout)
{
    last_wait = timeout;
    const timespec wait{.tv_sec = timeout / 1000, .tv_nsec = timeout % 1000 * 1000000L}; // not every machine has a call poll
    return misses > 0 && misses-- > 0 ? 0 : ppoll(ends, count, timeout < 0 ? nullptr : &wait, nullptr);
}
extern "C" {
int poll(pollfd* ends, nfds_t count, int timeout)
{
    return wait_for(ends, count, timeout);
}
int __poll_chk(pollfd* ends, nfds_t count, int timeout, size_t size);
int __poll_chk(pollfd* ends, nfds_t count, int timeout, size_t)
{
    return wait_for(ends, count, timeout);
}
}

namespace {

TEST(ControlSocket, ClassifiesInPlace)
{
    static const struct {
        const char* address;
        AddressKind kind;
        int port;
        const char* left; // of the caller's string
    } cases[] = {
        {"/var/tmp/obslog.d", address_unix, -1, "/var/tmp/obslog.d"},
        {"", address_unix, -1, ""},
        {"10.1.2.3:9000", address_ipv4, 9000, "10.1.2.3"},
        {"0.0.0.0:80", address_ipv4, 80, "0.0.0.0"},
        {"127.0.0.1:65535", address_ipv4, 65535, "127.0.0.1"},
        {"127.0.0.1:1", address_ipv4, 1, "127.0.0.1"},
        {"127.0.0.1:9000junk", address_ipv4, 9000, "127.0.0.1"}, // junk after the digits is ignored
        {"127.0.0.1:0", address_invalid, -1, "127.0.0.1"},
        {"127.0.0.1:70000", address_invalid, -1, "127.0.0.1"},
        {"127.0.0.1:-1", address_invalid, -1, "127.0.0.1"},
        {"0.0.0.00:80", address_invalid, -1, "0.0.0.00"}, // reads as 0, but is not the literal
        {"host:80", address_invalid, -1, "host"},
        {"010.0.0.1:80", address_invalid, -1, "010.0.0.1"}, // 8.0.0.1 to others
        {"1..2:80", address_invalid, -1, "1..2"},           // and no address to them
        {":80", address_invalid, -1, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        std::string address = c.address;
        int port = -1;
        EXPECT_EQ(c.kind, classify_address(address.data(), port));
        EXPECT_STREQ(c.left, address.c_str());
        if (c.port > 0) {
            EXPECT_EQ(c.port, port);
        }
    }
}

class Endpoints : public testing::Test {
protected:
    FreshFolder fresh;
    const std::string folder = fresh.folder, path = folder + "/s";
};

int option_of(int fd, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(fd, SOL_SOCKET, name, &value, &size);
    return value;
}
bool non_blocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}
int port_of(int fd)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}
// A port that is free now, of a socket that keeps it busy for binds without SO_REUSEPORT only.
int free_port()
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any);
    int port = port_of(fd);
    close(fd);
    return port;
}

TEST_F(Endpoints, ListenAcceptAndMoveWholeBuffers)
{
    for (bool ipv4 : {false, true}) {
        std::string address = ipv4 ? "127.0.0.1:" + std::to_string(free_port()) : path;
        close(open(path.c_str(), O_CREAT | O_WRONLY,
                   0600)); // a listener takes the place of whatever file is there
        int listener = socket_listen(address.c_str());
        ASSERT_LE(0, listener);
        EXPECT_TRUE(non_blocking(listener));
        EXPECT_EQ(1, option_of(listener, SO_ACCEPTCONN));
        EXPECT_EQ(1024, backlog);
        EXPECT_EQ(ipv4 ? 1 : 0, option_of(listener, SO_REUSEPORT));
        EXPECT_EQ("", captured_output([&] { EXPECT_GT(0, socket_accept(listener, 0)); })); // nobody there: no message
        EXPECT_EQ("", captured_output([&] { EXPECT_EQ(-1, socket_accept(listener, 1)); }));

        int near = socket_connect(("udp:" + address).c_str()); // a stream socket all the same
        ASSERT_LE(0, near);
        EXPECT_EQ(SOCK_STREAM, option_of(near, SO_TYPE));
        EXPECT_FALSE(non_blocking(near));
        int far = socket_accept(listener, 5000);
        ASSERT_LE(0, far);

        std::string out(100000, '\0'), in(out.size(), 'x');
        for (size_t i = 0; i < out.size(); i++)
            out[i] = static_cast<char>(i * 7);
        std::thread sender([&] { EXPECT_EQ(0, send_all(near, out.data(), static_cast<int>(out.size()))); });
        EXPECT_EQ(0, receive_all(far, in.data(), static_cast<int>(in.size())));
        sender.join();
        EXPECT_EQ(out, in);
        EXPECT_EQ(0, receive_all(far, nullptr, 0));
        EXPECT_EQ(0, send_all(-1, nullptr, -1));
        EXPECT_FALSE(wait_readable(far, 0));
        EXPECT_EQ(0, send_all(near, "early", 5));
        EXPECT_TRUE(wait_readable(far, 1000));
        close(near);
        EXPECT_EQ(-1, receive_all(far, in.data(), 6)); // a peer that closes early
        for (int fd : {far, listener})
            close(fd);
    }
}

TEST_F(Endpoints, PiecesHaveAtMost1400Bytes)
{
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends)); // keeps the pieces apart
    std::string out(3000, 'a'), in(3000, 'b');
    EXPECT_EQ(0, send_all(ends[0], out.data(), 3000));
    for (int length : {1400, 1400, 200})
        EXPECT_EQ(length, recv(ends[1], in.data(), in.size(), MSG_DONTWAIT));
    for (int length : {1400, 1400, 200})
        send(ends[0], out.data(), static_cast<size_t>(length), 0);
    EXPECT_EQ(0, receive_all(ends[1], in.data(), 3000));
    EXPECT_EQ(std::string(3000, 'a'), in);
    close(ends[0]);
    close(ends[1]);
}

// The socket is read after a missed wait too; how many may be missed depends on the length.
TEST_F(Endpoints, ReceivingCountsMissedWaits)
{
    for (auto [length, budget] : {std::pair{208, 2}, {8191, 2}, {8192, 3}, {100000, 14}})
        for (int missed : {budget - 1, budget}) {
            int ends[2];
            ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends));
            std::string bytes(static_cast<size_t>(length), 'a');
            const int piece = std::min(length / 20, 1400);
            for (int at = 0; at < length; at += piece)
                send(ends[0], bytes.data(), static_cast<size_t>(std::min(piece, length - at)), MSG_DONTWAIT);
            misses = missed;
            EXPECT_EQ(missed < budget ? 0 : -1, receive_all(ends[1], bytes.data(), length)) << length;
            EXPECT_EQ(1000, last_wait);
            misses = 0;
            close(ends[0]);
            close(ends[1]);
        }
}

TEST_F(Endpoints, DatagramsOfBothFamilies)
{
    int local = socket_listen(("udp:" + path).c_str());
    ASSERT_LE(0, local);
    EXPECT_EQ(SOCK_DGRAM, option_of(local, SO_TYPE));
    EXPECT_TRUE(non_blocking(local));
    EXPECT_EQ(-1, socket_connect(path.c_str())); // a stream socket cannot reach it

    int port = free_port();
    int first = udp_listen(static_cast<uint16_t>(port));
    int second = socket_listen(("udp:0.0.0.0:" + std::to_string(port)).c_str()); // both may have the port
    for (int fd : {first, second}) {
        ASSERT_LE(0, fd);
        EXPECT_EQ(SOCK_DGRAM, option_of(fd, SO_TYPE));
        EXPECT_TRUE(non_blocking(fd));
        EXPECT_EQ(port, port_of(fd));
    }
    for (int fd : {local, first, second})
        close(fd);
}

TEST_F(Endpoints, SaysWhatFailed)
{
    const std::string longest(107, 'p'), too_long(108, 'p');
    const std::string connecting = "socket_connect: invalid path\n", listening = "socket_listen: invalid path\n";
    const std::string nowhere = "bind tcp fail Cannot assign requested address\n";
    const struct {
        int (*make)(const char*);
        std::string address, printed;
    } cases[] = {
        {socket_connect, "127.0.0.1:0", connecting},
        {socket_connect, "udp:host:1", connecting},
        {socket_connect, too_long, connecting},
        {socket_connect, longest, ""}, // the caller reports
        {socket_connect, path, ""},
        {socket_listen, "127.0.0.1:70000", listening},
        {socket_listen, too_long, listening},
        {socket_listen, folder + "/no/s", "bind unix fail No such file or directory\n"},
        {socket_listen, "192.0.2.1:9000", nowhere},
        {socket_listen, "udp:192.0.2.1:9000", nowhere},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.printed, captured_output([&] { EXPECT_EQ(-1, c.make(c.address.c_str())); })) << c.address;
    EXPECT_EQ("socket_accept: Bad file descriptor(9)\n", captured_output([&] { EXPECT_GT(0, socket_accept(-1, 0)); }));

    sockaddr_in any{};
    any.sin_family = AF_INET;
    int taken = socket(AF_INET, SOCK_DGRAM, 0); // without SO_REUSEPORT
    ASSERT_EQ(0, bind(taken, reinterpret_cast<sockaddr*>(&any), sizeof any));
    EXPECT_EQ("bind tcp fail Address already in use\n",
              captured_output([&] { EXPECT_EQ(-1, udp_listen(static_cast<uint16_t>(port_of(taken)))); }));
    close(taken);
    listen_fails = true;
    EXPECT_EQ("listen fail Address already in use\n", captured_output([&] { EXPECT_EQ(-1, socket_listen(path.c_str())); }));
    listen_fails = false;
}

// With every descriptor in use no socket can be made.
TEST_F(Endpoints, SaysThatNoSocketCanBeMade)
{
    std::vector<int> taken;
    const char* own = path.c_str(); // a sanitizer that looks at this object needs a descriptor
    testing::internal::CaptureStdout();
    for (int fd; (fd = dup(0)) >= 0;)
        taken.push_back(fd);
    int results[] = {socket_connect(own), socket_listen(own), udp_listen(9)};
    for (int fd : taken)
        close(fd);
    flush_output();
    EXPECT_EQ("socket_connect: socket fail with Too many open files\n"
              "socket_listen: socket fail with Too many open files, path=" +
                  path + "\nudp_listen: socket fail with Too many open files\n",
              testing::internal::GetCapturedStdout());
    for (int result : results)
        EXPECT_EQ(-1, result);
}

} // namespace

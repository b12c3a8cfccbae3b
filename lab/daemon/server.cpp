#include "lab/daemon/server.h"

#include "base/output.h"
#include "lab/requests/turn.h"
#include "link/control_socket.h"
#include "link/places.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A client connects before it has read its arguments and files, so an idle connection is nothing unusual.
constexpr auto patience = std::chrono::seconds(60);
constexpr size_t connections_max = 512;
constexpr int idle_ms = 200;

} // namespace

struct Server::Connection {
    int fd;
    uint8_t daemon;
    Clock::time_point deadline;
    size_t received = 0;
    bool done = false;
    RequestRecord record;

    Connection(int socket, uint8_t kind)
        : fd(socket), daemon(kind), deadline(Clock::now() + patience), record{}
    {
    }
    ~Connection() { close(fd); }
    Connection(const Connection&) = delete;
};

Server::Server(Answerer answerer) : answerer_(std::move(answerer)) {}

Server::~Server()
{
    for (Listener& listener : listeners_) {
        if (listener.fd < 0)
            continue;
        close(listener.fd);
        unlink(listener.path.c_str());
    }
}

bool Server::listen()
{
    static constexpr struct {
        const char* place;
        uint8_t daemon;
    } daemons[] = {
        {place::analysis_daemon,   daemon_kind::analysis  },
        {place::management_daemon, daemon_kind::management},
        {place::chart_daemon,      daemon_kind::chart     },
    };
    for (size_t i = 0; i < listeners_.size(); i++) {
        Listener& listener = listeners_[i];
        listener.path = placed(daemons[i].place).text;
        listener.daemon = daemons[i].daemon;
        int probe = socket_connect(listener.path.c_str());
        if (probe >= 0) {
            close(probe);
            fprintf(stderr, "vigil-lab: somebody already serves %s\n", listener.path.c_str());
            return false;
        }
        listener.fd = socket_listen(listener.path.c_str());
        flush_output(); // the endpoint's own message
        if (listener.fd < 0) {
            fprintf(stderr, "vigil-lab: cannot serve %s\n", listener.path.c_str());
            return false;
        }
    }
    return true;
}

void Server::accept_from(const Listener& listener)
{
    int fd;
    while ((fd = socket_accept(listener.fd, 0)) >= 0) {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        if (connections_.size() == connections_max)
            connections_.erase(connections_.begin());
        connections_.push_back(std::make_unique<Connection>(fd, listener.daemon));
    }
    // Out of descriptors or of memory: the oldest client has waited longest for nothing.
    if (errno != EAGAIN && !connections_.empty())
        connections_.erase(connections_.begin());
    flush_output();
}

// Takes what has arrived; a whole record is answered at once. receive_all() is not used here: it would let
// one slow client hold up all others.
void Server::advance(Connection& connection)
{
    char* record = reinterpret_cast<char*>(&connection.record);
    ssize_t n =
        recv(connection.fd, record + connection.received, sizeof(RequestRecord) - connection.received, 0);
    if (n < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    connection.done = n <= 0;
    connection.received += n > 0 ? static_cast<size_t>(n) : 0;
    if (connection.received < sizeof(RequestRecord))
        return;
    answer_exchange(answerer_, connection.daemon, connection.record);
    send_all(connection.fd, &connection.record, sizeof(RequestRecord));
    connection.done = true;
}

void Server::drop_overdue()
{
    auto now = Clock::now();
    std::erase_if(connections_, [&](const auto& one) { return one->done || one->deadline < now; });
}

void Server::watch(int fd, std::function<void()> ready)
{
    watched_.push_back({fd, std::move(ready)});
}

// The entry goes later: it may be the one that is being called.
void Server::unwatch(int fd)
{
    for (Watched& watched : watched_)
        if (watched.fd == fd)
            watched.fd = -1;
}

void Server::wait_and_advance()
{
    std::erase_if(watched_, [](const Watched& watched) { return watched.fd < 0; });
    std::vector<pollfd> polled;
    auto add = [&](int fd) { polled.push_back({fd, POLLIN, 0}); };
    for (const Watched& watched : watched_)
        add(watched.fd);
    for (const Listener& listener : listeners_)
        add(listener.fd);
    for (const auto& connection : connections_)
        add(connection->fd);
    if (poll(polled.data(), polled.size(), idle_ms) < 0) {
        stopped_ = errno != EINTR;
        return;
    }
    auto next = polled.begin();
    for (const Watched& watched : watched_)
        if ((next++)->revents != 0)
            watched.ready();
    auto accepting = next;
    next += static_cast<ptrdiff_t>(listeners_.size());
    for (const auto& connection : connections_)
        if ((next++)->revents != 0)
            advance(*connection);
    drop_overdue();
    for (const Listener& listener : listeners_)
        if ((accepting++)->revents != 0)
            accept_from(listener);
}

void Server::serve(const std::function<void()>& idle)
{
    auto next_idle = Clock::now();
    while (!stopped_) {
        if (Clock::now() >= next_idle) {
            idle();
            next_idle = Clock::now() + std::chrono::milliseconds(idle_ms);
        }
        wait_and_advance();
    }
}

#include "lab/server.h"

#include "base/output.h"
#include "link/control_socket.h"
#include "link/places.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A client connects before it has read its arguments and files, so an idle connection is nothing unusual.
constexpr auto patience = std::chrono::seconds(60);
constexpr size_t connections_max = 512;
constexpr int idle_ms = 200;

// The client's segment, attached for the length of one request. Linux attaches by id also what is already
// marked for removal.
class Segment {
public:
    explicit Segment(int id)
    {
        shmid_ds status{};
        if (shmctl(id, IPC_STAT, &status) != 0)
            return;
        void* base = shmat(id, nullptr, 0);
        if (base == reinterpret_cast<void*>(-1))
            return;
        bytes_ = {static_cast<char*>(base), status.shm_segsz};
    }
    ~Segment()
    {
        if (!bytes_.empty())
            shmdt(bytes_.data());
    }
    Segment(const Segment&) = delete;
    std::span<char> bytes() const { return bytes_; }

private:
    std::span<char> bytes_;
};

void refuse(RequestRecord& record, const char* text)
{
    record.error = lab_error::invalid;
    record.text.assign(text);
}

void answer_in_segment(Appliance& appliance, uint8_t daemon, RequestRecord& record)
{
    Segment segment(record.segment_id);
    if (segment.bytes().empty())
        return refuse(record, "INV_SHMID");
    if (record.segment_size == 0 || record.segment_size > segment.bytes().size())
        return refuse(record, "INV_SHMSIZE");
    if (record.data_length < 0 || static_cast<uint32_t>(record.data_length) > record.segment_size)
        return refuse(record, "INV_LENGTH");
    appliance.answer(daemon, record, segment.bytes().first(record.segment_size));
}

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

Server::Server(Appliance& appliance) : appliance_(appliance) {}

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
    answer_in_segment(appliance_, connection.daemon, connection.record);
    send_all(connection.fd, &connection.record, sizeof(RequestRecord));
    connection.done = true;
}

void Server::drop_overdue()
{
    auto now = Clock::now();
    std::erase_if(connections_, [&](const auto& one) { return one->done || one->deadline < now; });
}

void Server::serve(int stop_fd, const std::function<void()>& idle)
{
    std::vector<pollfd> watched;
    auto next_idle = Clock::now();
    while (true) {
        if (Clock::now() >= next_idle) {
            idle();
            next_idle = Clock::now() + std::chrono::milliseconds(idle_ms);
        }
        watched.clear();
        watched.push_back({stop_fd, POLLIN, 0});
        for (const Listener& listener : listeners_)
            watched.push_back({listener.fd, POLLIN, 0});
        for (const auto& connection : connections_)
            watched.push_back({connection->fd, POLLIN, 0});
        if (poll(watched.data(), watched.size(), idle_ms) < 0 && errno != EINTR)
            return;
        if (watched[0].revents != 0)
            return;
        for (size_t i = 1 + listeners_.size(); i < watched.size(); i++)
            if (watched[i].revents != 0)
                advance(*connections_[i - 1 - listeners_.size()]);
        drop_overdue();
        for (size_t i = 0; i < listeners_.size(); i++)
            if (watched[1 + i].revents != 0)
                accept_from(listeners_[i]);
    }
}

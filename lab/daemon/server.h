#pragma once
// The three daemons in one loop: accepts on their control sockets, receives the request records, attaches the
// segments, answers. A client that stalls, disappears or sends garbage costs only its own connection.
#include "lab/daemon/exchange.h"

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class Server {
public:
    explicit Server(Answerer answerer);
    ~Server(); // closes everything and removes the sockets it made
    Server(const Server&) = delete;

    // Opens the three control sockets below the root. False with a message on standard error.
    bool listen();
    // Has `ready` called from the loop whenever `fd` is readable. It must not wait: all clients wait with it.
    void watch(int fd, std::function<void()> ready);
    void unwatch(int fd);
    // Serves until stop(); calls `idle` about five times a second.
    void serve(const std::function<void()>& idle);
    void stop() { stopped_ = true; }

private:
    struct Connection;
    struct Listener {
        int fd = -1;
        uint8_t daemon = 0;
        std::string path;
    };
    struct Watched {
        int fd;
        std::function<void()> ready;
    };
    void wait_and_advance();
    void accept_from(const Listener& listener);
    void advance(Connection& connection);
    void drop_overdue();

    Answerer answerer_;
    bool stopped_ = false;
    std::vector<Watched> watched_;
    std::array<Listener, 3> listeners_;
    std::vector<std::unique_ptr<Connection>> connections_; // oldest first
};

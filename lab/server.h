#pragma once
// The three daemons in one loop: accepts on their control sockets, receives the request records, attaches the
// segments, answers. A client that stalls, disappears or sends garbage costs only its own connection.
#include "lab/appliance.h"

#include <array>
#include <functional>
#include <memory>
#include <string>

class Server {
public:
    explicit Server(Appliance& appliance);
    ~Server(); // closes everything and removes the sockets it made
    Server(const Server&) = delete;

    // Opens the three control sockets below the root. False with a message on standard error.
    bool listen();
    // Serves until `stop_fd` becomes readable; calls `idle` about five times a second.
    void serve(int stop_fd, const std::function<void()>& idle);

private:
    struct Connection;
    struct Listener {
        int fd = -1;
        uint8_t daemon = 0;
        std::string path;
    };
    void accept_from(const Listener& listener);
    void advance(Connection& connection);
    void drop_overdue();

    Appliance& appliance_;
    std::array<Listener, 3> listeners_;
    std::vector<std::unique_ptr<Connection>> connections_; // oldest first
};

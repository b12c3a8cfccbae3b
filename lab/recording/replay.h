#pragma once
// Answers from a recording.
#include "lab/recording/format.h"

#include <map>

class Replay {
public:
    explicit Replay(std::string folder) : folder_(std::move(folder)) {}

    // Checks every file of the recording. False with a message on standard error that names the file.
    bool open();
    // Puts the appliance's files below the root, and removes those that the recording's appliance lacked.
    bool install() const;
    // The next recorded exchange with this daemon, code, module, text and cursor, round and round; a request
    // that the recording lacks is refused and said on standard error.
    void answer(uint8_t daemon, RequestRecord& record, std::span<char> segment);

    // How many exchanges there are, and the zone in which vigil's times are as they were.
    std::string contents() const;

private:
    struct Exchange {
        RequestRecord request{}, reply{};
        FileSum after;
    };
    struct Asked { // exchanges with the same request but for its cursor
        std::vector<size_t> exchanges;
        size_t next = 0;
    };
    bool read_exchange(size_t number);
    bool read_text(const std::string& name, std::string& text) const;
    bool fail(const std::string& name, const std::string& fault) const;
    const Exchange* find(const std::string& key, int32_t cursor, size_t& number);

    std::string folder_;
    About about_;
    std::vector<Exchange> exchanges_;
    std::map<std::string, Asked> asked_;
};

#pragma once
// Writes every exchange into a folder as it happens, with what vigil reads beside it.
#include "lab/recording/format.h"

class Recorder {
public:
    explicit Recorder(std::string folder) : folder_(std::move(folder)) {}

    // Makes the folder, which must not exist or be empty, for its owner alone. False with a message on
    // standard error.
    bool begin();
    // An exchange: the request when it has come, the reply before it goes. Where it cannot be written, that
    // is said on standard error and the recording ends.
    void asked(uint8_t daemon, const RequestRecord& record, std::span<const char> segment);
    void answered(const RequestRecord& record, std::span<const char> segment);
    bool failed() const { return failed_; }

private:
    // By which a file is known to be another one than it was.
    struct Version {
        uint64_t device = 0, inode = 0, size = 0;
        int64_t seconds = 0, nanoseconds = 0;
        bool operator==(const Version&) const = default;
    };
    bool write_half(const HalfKind& kind, const RequestRecord& record, std::span<const char> segment);
    bool keep_files();
    bool keep_file(const KeptPlace& kept, const Version& version);
    bool write_about();
    bool fail(const std::string& path, int error);
    std::string exchange_path() const;

    std::string folder_;
    About about_;
    std::vector<Version> versions_{kept_places().size()}; // all zero: there is no such file
    size_t number_ = 0;                                   // of the last exchange
    uint8_t daemon_ = 0;
    bool open_ = false; // asked, and not answered yet
    bool failed_ = false;
};

#pragma once
// Capture files in blocks. libpcap refuses a file whose interfaces differ in link type or snapshot length,
// which merging tools and captures of several interfaces make every day; each interface has its own here.
#include "lab/packets/frame_source.h"

#include <cstdio>
#include <vector>

class PcapngFile : public FrameSource {
public:
    explicit PcapngFile(FILE* file) : file_(file) {} // closes it
    ~PcapngFile() override { fclose(file_); }
    PcapngFile(const PcapngFile&) = delete;

    FrameRead next(Frame& frame) override;

private:
    // What an interface says of its frames.
    struct Interface {
        int link_type = 0;
        uint32_t snapshot = 0;      // bytes kept of a frame at most; 0: all
        uint64_t units = 1'000'000; // of its clock in a second
        int64_t offset = 0;         // seconds that its clock begins after the epoch
    };

    FrameRead read_block(uint32_t& type);
    bool read_more(size_t length);
    bool read_byte_order();
    bool add_interface();
    bool read_option(uint16_t code, size_t at, size_t length, Interface& interface);
    FrameRead packet_of(uint32_t interface, Frame& frame);
    FrameRead simple_packet(Frame& frame);

    // In the section's byte order.
    uint16_t number16(Bytes bytes, size_t at) const;
    uint32_t number32(Bytes bytes, size_t at) const;

    FILE* file_;
    bool big_endian_ = false; // of the section
    std::vector<Interface> interfaces_;
    std::vector<uint8_t> body_; // of the block
    uint64_t time_ = 0;         // of the last packet
};

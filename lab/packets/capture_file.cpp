// Capture files of every kind: libpcap's, and pcapng.
#include "lab/packets/pcapng.h"

#include <cerrno>
#include <cstring>
#include <pcap/pcap.h>

namespace {

class PcapFile : public FrameSource {
public:
    explicit PcapFile(pcap_t* file) : file_(file), link_type_(pcap_datalink(file)) {} // closes it
    ~PcapFile() override { pcap_close(file_); }
    PcapFile(const PcapFile&) = delete;

    FrameRead next(Frame& frame) override
    {
        pcap_pkthdr* header = nullptr;
        const u_char* data = nullptr;
        int read = pcap_next_ex(file_, &header, &data);
        if (read == PCAP_ERROR_BREAK)
            return FrameRead::end;
        if (read != 1)
            return fail(pcap_geterr(file_));
        frame.time =
            static_cast<uint64_t>(header->ts.tv_sec) * 1'000'000 + static_cast<uint64_t>(header->ts.tv_usec);
        frame.length = header->len;
        frame.link_type = link_type_;
        frame.bytes = {data, header->caplen};
        return FrameRead::frame;
    }

private:
    pcap_t* file_;
    int link_type_;
};

} // namespace

std::unique_ptr<FrameSource> open_capture_file(const std::string& path, std::string& error)
{
    FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        error = strerror(errno);
        return nullptr;
    }
    return open_capture_stream(file, error);
}

std::unique_ptr<FrameSource> open_capture_stream(FILE* file, std::string& error)
{
    constexpr int first_of_pcapng = 0x0a; // no other kind of capture begins with it
    int first = getc(file);
    ungetc(first, file);
    if (first == first_of_pcapng)
        return std::make_unique<PcapngFile>(file);
    char reason[PCAP_ERRBUF_SIZE] = "";
    if (pcap_t* opened = pcap_fopen_offline(file, reason))
        return std::make_unique<PcapFile>(opened);
    fclose(file);
    error = reason;
    return nullptr;
}

// Frames of an interface.
#include "lab/packets/live_source.h"

#include <ctime>
#include <net/if.h>
#include <netpacket/packet.h>
#include <pcap/pcap.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

constexpr int snapshot = 65535, wait_ms = 50, ring_bytes = 8 << 20;
constexpr int taken_at_once = 4096;

class Interface : public LiveSource {
public:
    explicit Interface(pcap_t* handle) : handle_(handle), link_type_(pcap_datalink(handle)) {} // closes it
    ~Interface() override { pcap_close(handle_); }
    Interface(const Interface&) = delete;

    int descriptor() const override { return pcap_get_selectable_fd(handle_); }
    uint32_t now() const override { return static_cast<uint32_t>(time(nullptr)); }
    uint64_t lost() override
    {
        pcap_stat counts{};
        return pcap_stats(handle_, &counts) == 0 ? uint64_t{counts.ps_drop} + counts.ps_ifdrop : 0;
    }

    void take(const Take& frame) override
    {
        take_ = &frame;
        if (pcap_dispatch(handle_, taken_at_once, hand_over, reinterpret_cast<u_char*>(this)) < 0)
            fail(pcap_geterr(handle_));
    }

private:
    static void hand_over(u_char* self, const pcap_pkthdr* header, const u_char* bytes)
    {
        auto* interface = reinterpret_cast<Interface*>(self);
        (*interface->take_)({
            .time = static_cast<uint64_t>(header->ts.tv_sec) * 1'000'000 +
                    static_cast<uint64_t>(header->ts.tv_usec),
            .length = header->len,
            .link_type = interface->link_type_,
            .bytes = {bytes, header->caplen},
        });
    }

    pcap_t* handle_;
    int link_type_;
    const Take* take_ = nullptr;
};

// What keeps us from listening, in words for whoever typed the name.
std::string refusal(int status, pcap_t* handle)
{
    std::string detail = pcap_geterr(handle);
    switch (status) {
    case PCAP_ERROR_PERM_DENIED:
    case PCAP_ERROR_PROMISC_PERM_DENIED:
        return "no right to capture: be root, or give the program the capability (setcap cap_net_raw+ep), or use a "
               "network namespace of your own (scripts/demo.sh live)";
    case PCAP_ERROR_NO_SUCH_DEVICE:
        return "no such interface";
    case PCAP_ERROR_IFACE_NOT_UP:
        return "the interface is down";
    default:
        return detail.empty() ? pcap_statustostr(status) : detail;
    }
}

// Of the loopback every frame is there twice, going out and coming in. libpcap passes over the first kind,
// but only once it has taken room in the ring and, where there was none, was counted as lost.
void ignore_second_copies(const std::string& name, int descriptor)
{
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    if (ioctl(descriptor, SIOCGIFFLAGS, &request) != 0 || (request.ifr_flags & IFF_LOOPBACK) == 0)
        return;
    const int on = 1; // kernels before 4.20 do not know it
    setsockopt(descriptor, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on);
}

} // namespace

std::unique_ptr<LiveSource> open_interface(const std::string& name, std::string& error)
{
    char reason[PCAP_ERRBUF_SIZE] = "";
    pcap_t* handle = pcap_create(name.c_str(), reason);
    if (handle == nullptr) {
        error = reason;
        return nullptr;
    }
    pcap_set_snaplen(handle, snapshot);
    pcap_set_promisc(handle, 1);
    pcap_set_timeout(handle, wait_ms);
    pcap_set_buffer_size(handle, ring_bytes);
    int status = pcap_activate(handle); // above 0: a warning
    if (status < 0)
        error = refusal(status, handle);
    else if (!is_known_link(pcap_datalink(handle)))
        error = "link type " + std::to_string(pcap_datalink(handle)) + " is not read";
    else if (pcap_setnonblock(handle, 1, reason) != 0)
        error = reason;
    if (!error.empty()) {
        pcap_close(handle);
        return nullptr;
    }
    ignore_second_copies(name, pcap_get_selectable_fd(handle));
    return std::make_unique<Interface>(handle);
}

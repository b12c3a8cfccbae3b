// The doors of the lab: packets, and recordings.
#include "tests/fuzz/fuzz.h"

#include "lab/packets/live_traffic.h"
#include "lab/packets/names.h"
#include "lab/recording/format.h"
#include "lab/recording/sealed_text.h"

// What a payload may hold.
static void read_names(Bytes payload)
{
    DnsMessage dns;
    NetbiosPacket netbios;
    TlsHello tls;
    HttpRequest request;
    HttpResponse response;
    std::string banner;
    Bytes message;
    read_dns(payload, dns);
    is_dns_message(payload);
    find_dns_message(payload, false, message);
    find_dns_message(payload, true, message);
    read_netbios(payload, 137, netbios);
    read_netbios(payload, 138, netbios);
    read_tls_client_hello(payload, tls);
    read_tls_server_hello(payload, tls);
    read_http_request(payload, request);
    read_http_response(payload, response);
    read_ssh_banner(payload, banner);
    for (const DnsAnswer& answer : dns.answers)
        expect(answer.name.size() <= 63, "a name that does not fit its field");
    expect(tls.server_name.find('"') == std::string::npos && request.host.size() <= 63, "a name that is none");
}

void capture(Input& input)
{
    const bool whole_file = input.number() % 4 != 0;
    std::vector<uint8_t> bytes(input.left.begin(), input.left.end()); // in memory of their own
    if (!whole_file)
        return read_names(bytes);
    FILE* file = fmemopen(bytes.data(), bytes.size(), "rb");
    std::string error;
    std::unique_ptr<FrameSource> source = file != nullptr ? open_capture_stream(file, error) : nullptr;
    LiveTraffic traffic({.sessions = 8, .age = 100}, [](const Session&) {});
    Frame frame;
    for (int frames = 0; source && frames < 1000 && source->next(frame) == FrameRead::frame; frames++)
        traffic.add(frame);
    traffic.state(traffic.newest());
    traffic.advance(traffic.newest() + 50);
    traffic.state(traffic.newest() + 50);
}

// The seal is made here, so that a change of the text is one.
void recordings(Input& input)
{
    const bool whole = input.number() % 2 != 0;
    std::string text(input.rest());
    text += "end " + sha256_of(text) + '\n';
    About recorded;
    Half half;
    if (whole && read_about(text, recorded).empty())
        expect(recorded.files.size() <= kept_places().size(), "a file that has no place");
    if (!whole && read_half(request_half, text, half).empty())
        expect(half.kept.size <= half.segment, "more kept than there is");
}

// The lab appliance: the three daemons over the real sockets and segments, for whoever has no appliance.
#include "lab/daemon/install.h"
#include "lab/daemon/ring_writer.h"
#include "lab/daemon/server.h"
#include "lab/packets/capture.h"
#include "lab/requests/appliance.h"
#include "lab/views/event_log.h"
#include "lab/world/generator.h"
#include "link/places.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/signalfd.h>

namespace {

constexpr char usage[] =
    R"(usage: vigil-lab [--root DIR] [--capture FILE | --sessions N --seed S] [--now T] [--vendors FILE]

Serves vigil's three control sockets below DIR until SIGTERM or SIGINT. Prints "ready DIR" once it serves.

--root DIR      where everything goes: a folder without files, or one of an earlier run; the default is VIGIL_ROOT.
                At most 79 bytes: sockets lie below it.
--capture FILE  the world is the traffic of this capture file; "-" is standard input
--sessions N    the world is made up: so many sessions (default 1000) ...
--seed S        ... the same for the same seed (default 1)
--now T         the time at which a made-up world ends, seconds since the epoch (default: now)
--vendors FILE  list of vendor prefixes (default /usr/share/ieee-data/oui.txt)
)";

struct Options {
    std::string root, capture, vendors = "/usr/share/ieee-data/oui.txt";
    GeneratorOptions generator;
    bool help = false;
};

void tell(const std::string& text)
{
    fprintf(stderr, "vigil-lab: %s\n", text.c_str());
}

int fail(const std::string& text)
{
    tell(text);
    return 2;
}

bool read_number(const char* text, uint64_t most, uint64_t& number)
{
    char* end = nullptr;
    number = strtoull(text, &end, 10);
    return *text >= '0' && *text <= '9' && *end == '\0' && number <= most;
}

// 0, or the exit status with the message printed.
int read_options(int argc, char** argv, Options& options)
{
    uint64_t number = 0;
    for (int i = 1; i < argc; i += 2) {
        std::string key = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (key == "--help" || key == "-h")
            return options.help = true, 0;
        if (key != "--root" && key != "--capture" && key != "--sessions" && key != "--seed" &&
            key != "--now" && key != "--vendors")
            return fail("unknown option " + key + "; try --help");
        if (value == nullptr)
            return fail(key + " needs a value");
        if (key == "--root")
            options.root = value;
        else if (key == "--capture")
            options.capture = value;
        else if (key == "--vendors")
            options.vendors = value;
        else if (!read_number(value,
                              key == "--seed"       ? UINT64_MAX
                              : key == "--sessions" ? 100'000'000
                                                    : UINT32_MAX,
                              number))
            return fail(key + " needs a number, not " + value);
        else if (key == "--seed")
            options.generator.seed = number;
        else
            (key == "--now" ? options.generator.now : options.generator.sessions) =
                static_cast<uint32_t>(number);
    }
    return 0;
}

int use_root(const Options& options)
{
    if (!options.root.empty())
        setenv("VIGIL_ROOT", options.root.c_str(), 1);
    const char* root = getenv("VIGIL_ROOT");
    if (root == nullptr || *root == '\0')
        return fail("no root: give --root DIR or set VIGIL_ROOT; the system's own paths are never touched");
    if (const char* fault = root_fault())
        return fail(fault);
    if (const char* refusal = claim_root(root))
        return fail(std::string{root} + ' ' + refusal);
    return 0;
}

int make_world(const Options& options, World& world)
{
    std::string error;
    if (options.capture.empty()) {
        GeneratorOptions generator = options.generator;
        if (generator.now == 0)
            generator.now = static_cast<uint32_t>(time(nullptr));
        generate(generator, world);
    } else {
        if (!read_capture(options.capture, world, error))
            return fail(options.capture + ": " + error);
        if (!error.empty())
            tell(options.capture + ": " + error + "; what came before it counts");
        tell(options.capture + ": sessions=" + std::to_string(world.sessions.size()) + ' ' +
             counts_text(world.capture));
    }
    log_events(world);
    return 0;
}

// A descriptor that becomes readable when the appliance is to stop.
int stop_descriptor()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int status = read_options(argc, argv, options);
    if (options.help)
        return fputs(usage, stdout) < 0 ? 1 : 0;
    if (status != 0 || (status = use_root(options)) != 0)
        return status;
    Appliance appliance;
    if ((status = make_world(options, appliance.world)) != 0)
        return status;
    if (!install_appliance(appliance.world, options.vendors))
        return 1;
    int stop = stop_descriptor();
    RingWriter ring(appliance.world, placed(place::capture_ring).text);
    Server server(
        [&](Exchange& exchange) { appliance.answer(exchange.daemon, exchange.record, exchange.segment); });
    server.watch(stop, [&] { server.stop(); });
    if (stop < 0 || !server.listen())
        return 1;
    printf("ready %s sessions=%zu\n", getenv("VIGIL_ROOT"), appliance.world.sessions.size());
    fflush(stdout);
    server.serve([&] { ring.fill(); });
    return 0;
}

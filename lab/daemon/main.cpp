// The lab appliance: the three daemons over the real sockets and segments, for whoever has no appliance.
#include "base/version.h"
#include "lab/daemon/install.h"
#include "lab/daemon/live_world.h"
#include "lab/daemon/options.h"
#include "lab/daemon/ring_writer.h"
#include "lab/daemon/server.h"
#include "lab/packets/capture.h"
#include "lab/recording/recorder.h"
#include "lab/recording/replay.h"
#include "lab/requests/appliance.h"
#include "lab/views/event_log.h"
#include "link/places.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <sys/signalfd.h>

namespace {

void tell(const std::string& text)
{
    fprintf(stderr, "vigil-lab: %s\n", text.c_str());
}

int fail(const std::string& text)
{
    tell(text);
    return 2;
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

// What is served, of one of the kinds that the options name.
struct Served {
    Answerer answerer;
    std::string contents; // for the ready line
    std::function<const Traffic&()> traffic = []() -> const Traffic& {
        static const Traffic nothing;
        return nothing;
    };
    std::function<void(Server&)> join = [](Server&) {}; // before serving
    std::function<void()> idle = [] {};
    std::function<bool()> failed = [] { return false; };
};

template <class Answering> Answerer answerer_of(std::shared_ptr<Answering> answering)
{
    return [answering](Exchange& exchange) {
        answering->answer(exchange.daemon, exchange.record, exchange.segment);
    };
}

int serve_replay(const Options& options, Served& served)
{
    auto replay = std::make_shared<Replay>(options.replay);
    if (!replay->open() || !install_software() || !replay->install())
        return 1;
    served.answerer = answerer_of(replay);
    served.contents = replay->contents();
    return 0;
}

int serve_live(const Options& options, Served& served)
{
    std::string error;
    auto live = std::make_shared<LiveWorld>(options.live, options.bounds);
    if (!live->open(error))
        return fail(options.live + ": " + error);
    if (!install_appliance(live->world(), options.vendors))
        return 1;
    served.answerer = [live](Exchange& exchange) { live->answer(exchange); };
    served.contents = "sessions=0";
    served.traffic = [live]() -> const Traffic& { return live->world(); };
    served.join = [live](Server& server) { live->join(server); };
    served.idle = [live] { live->idle(); };
    served.failed = [live] { return live->failed(); };
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

int serve_world(const Options& options, Served& served)
{
    auto appliance = std::make_shared<Appliance>();
    if (int status = make_world(options, appliance->world); status != 0)
        return status;
    if (!install_appliance(appliance->world, options.vendors))
        return 1;
    served.answerer = answerer_of(appliance);
    served.contents = "sessions=" + std::to_string(appliance->world.sessions.size());
    served.traffic = [appliance]() -> const Traffic& { return appliance->world; };
    return 0;
}

int prepare(const Options& options, Served& served)
{
    return !options.replay.empty() ? serve_replay(options, served)
           : !options.live.empty() ? serve_live(options, served)
                                   : serve_world(options, served);
}

Answerer recorded(Recorder& recorder, Answerer answerer)
{
    return [&recorder, answerer = std::move(answerer)](Exchange& exchange) {
        recorder.asked(exchange.daemon, exchange.record, exchange.segment);
        answerer(exchange);
        recorder.answered(exchange.record, exchange.segment);
    };
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
    int status = 0;
    std::string fault = read_options(argc, argv, options);
    if (options.help)
        return fputs(usage, stdout) < 0 ? 1 : 0;
    if (options.version)
        return printf("vigil-lab %s\n", build_version) < 0 ? 1 : 0;
    if (!fault.empty())
        return fail(fault);
    if ((status = use_root(options)) != 0)
        return status;
    Served served;
    int stop = stop_descriptor(); // before there are threads, which would get the signals
    if ((status = prepare(options, served)) != 0)
        return status;
    Recorder recorder(options.record);
    if (!options.record.empty()) {
        if (!recorder.begin())
            return 1;
        served.answerer = recorded(recorder, std::move(served.answerer));
    }
    RingWriter ring(served.traffic, placed(place::capture_ring).text);
    Server server(served.answerer);
    server.watch(stop, [&] { server.stop(); });
    if (stop < 0 || !server.listen())
        return 1;
    served.join(server);
    printf("ready %s %s\n", getenv("VIGIL_ROOT"), served.contents.c_str());
    fflush(stdout);
    server.serve([&] {
        served.idle();
        ring.fill();
    });
    return served.failed() ? 2 : recorder.failed() ? 1 : 0;
}

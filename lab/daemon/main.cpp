// The lab appliance: the three daemons over the real sockets and segments, for whoever has no appliance.
#include "base/version.h"
#include "lab/daemon/install.h"
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

Answerer answerer_of(Appliance& appliance)
{
    return [&](Exchange& exchange) { appliance.answer(exchange.daemon, exchange.record, exchange.segment); };
}

Answerer answerer_of(Replay& replay)
{
    return [&](Exchange& exchange) { replay.answer(exchange.daemon, exchange.record, exchange.segment); };
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
    Appliance appliance;
    Replay replay(options.replay);
    Recorder recorder(options.record);
    bool replaying = !options.replay.empty();
    if (!replaying && (status = make_world(options, appliance.world)) != 0)
        return status;
    if (replaying ? !replay.open() || !install_software() || !replay.install()
                  : !install_appliance(appliance.world, options.vendors))
        return 1;
    Answerer answerer = replaying ? answerer_of(replay) : answerer_of(appliance);
    if (!options.record.empty()) {
        if (!recorder.begin())
            return 1;
        answerer = recorded(recorder, std::move(answerer));
    }
    int stop = stop_descriptor();
    RingWriter ring(appliance.world, placed(place::capture_ring).text);
    Server server(std::move(answerer));
    server.watch(stop, [&] { server.stop(); });
    if (stop < 0 || !server.listen())
        return 1;
    printf("ready %s %s\n", getenv("VIGIL_ROOT"),
           replaying ? replay.contents().c_str()
                     : ("sessions=" + std::to_string(appliance.world.sessions.size())).c_str());
    fflush(stdout);
    server.serve([&] { ring.fill(); });
    return recorder.failed() ? 1 : 0;
}

#include "lab/recording/recorder.h"

#include "link/places.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

std::string now_text()
{
    timespec now{};
    tm utc{};
    char seconds[32];
    clock_gettime(CLOCK_REALTIME, &now);
    gmtime_r(&now.tv_sec, &utc);
    strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &utc);
    std::string microseconds = std::to_string(1'000'000 + now.tv_nsec / 1000).substr(1);
    return seconds + ('.' + microseconds) + 'Z';
}

// TZ, or the zone that the machine itself has been given.
std::optional<std::string> time_zone()
{
    constexpr std::string_view folder = "/zoneinfo/";
    std::error_code error;
    std::string machine = fs::read_symlink("/etc/localtime", error).string();
    size_t at = machine.rfind(folder);
    std::optional<std::string> zone;
    if (const char* given = getenv("TZ"))
        zone = given;
    else if (at != machine.npos)
        zone = machine.substr(at + folder.size());
    return zone && zone->size() <= recording::zone_max ? zone : std::nullopt;
}

// Without the zeros at the segment's end, of which most segments consist.
std::span<const char> used_part(std::span<const char> segment)
{
    static constexpr char zeros[4096]{};
    size_t used = segment.size();
    while (used >= sizeof zeros && memcmp(segment.data() + used - sizeof zeros, zeros, sizeof zeros) == 0)
        used -= sizeof zeros;
    while (used > 0 && segment[used - 1] == '\0')
        used--;
    return segment.first(used);
}

} // namespace

bool Recorder::fail(const std::string& path, int error)
{
    fprintf(stderr, "vigil-lab: %s: %s; nothing is recorded from now on\n", path.c_str(), strerror(error));
    failed_ = true;
    return false;
}

bool Recorder::begin()
{
    int made = mkdir(folder_.c_str(), 0700) == 0 ? 0 : errno;
    std::error_code error;
    if (made == EEXIST && fs::is_directory(folder_, error))
        made = fs::is_empty(folder_, error) && !error ? 0 : ENOTEMPTY;
    if (made != 0)
        return fail(folder_, made);
    std::string files = folder_ + '/' + recording::files;
    if (chmod(folder_.c_str(), 0700) != 0 || mkdir(files.c_str(), 0700) != 0)
        return fail(folder_, errno);
    about_.zone = time_zone();
    about_.root = placed("").text;
    return keep_files() && write_about();
}

std::string Recorder::exchange_path() const
{
    return folder_ + '/' + exchange_folder(number_);
}

void Recorder::asked(uint8_t daemon, const RequestRecord& record, std::span<const char> segment)
{
    open_ = false;
    if (failed_)
        return;
    if (!can_be_recorded(segment.size(), record.data_length)) {
        fputs("vigil-lab: a request with an enormous segment or text is left out of the recording\n", stderr);
        return;
    }
    number_++;
    daemon_ = daemon;
    std::string folder = exchange_path() + recording::incomplete;
    if (mkdir(folder.c_str(), 0700) != 0)
        fail(folder, errno);
    else
        open_ = keep_files() && write_half(request_half, record, segment);
}

void Recorder::answered(const RequestRecord& record, std::span<const char> segment)
{
    if (!open_)
        return;
    open_ = false;
    std::string folder = exchange_path();
    if (write_half(reply_half, record, segment) &&
        rename((folder + recording::incomplete).c_str(), folder.c_str()) != 0)
        fail(folder, errno);
}

bool Recorder::write_half(const HalfKind& kind, const RequestRecord& record, std::span<const char> segment)
{
    std::string folder = exchange_path() + recording::incomplete + '/';
    Half half{.time = now_text(),
              .daemon = daemon_,
              .segment = static_cast<uint32_t>(segment.size()),
              .kept = {},
              .record = record};
    FileSum of_text;
    if (int error = write_new_file(folder + kind.segment_file, used_part(segment), half.kept); error != 0)
        return fail(folder + kind.segment_file, error);
    if (int error = write_new_file(folder + kind.text_file, half_text(kind, half), of_text); error != 0)
        return fail(folder + kind.text_file, error);
    return true;
}

// The appliance's files as they are now: whoever reproduces a fault may have changed them just before.
bool Recorder::keep_files()
{
    bool changed = false;
    for (size_t i = 0; i < kept_places().size(); i++) {
        const KeptPlace& kept = kept_places()[i];
        struct stat status {};
        Version now;
        if (stat(kept.path().c_str(), &status) == 0)
            now = {status.st_dev, status.st_ino, static_cast<uint64_t>(status.st_size), status.st_mtim.tv_sec,
                   status.st_mtim.tv_nsec};
        if (now == versions_[i])
            continue;
        if (!keep_file(kept, now))
            return false;
        versions_[i] = now;
        changed = true;
    }
    return !changed || write_about();
}

bool Recorder::keep_file(const KeptPlace& kept, const Version& version)
{
    std::string target = folder_ + '/' + recording::files + '/' + kept.name, fresh = target + ".new";
    std::erase_if(about_.files, [&](const About::File& file) { return file.place == &kept; });
    if (version == Version{}) {
        remove(target.c_str());
        return true;
    }
    FileSum sum;
    if (int error = copy_file(kept.path(), fresh, sum); error != 0)
        return fail(kept.path(), error);
    if (rename(fresh.c_str(), target.c_str()) != 0)
        return fail(target, errno);
    about_.files.push_back({&kept, sum});
    return true;
}

bool Recorder::write_about()
{
    std::string target = folder_ + '/' + recording::about, fresh = target + ".new";
    FileSum sum;
    if (int error = write_new_file(fresh, about_text(about_), sum); error != 0)
        return fail(target, error);
    return rename(fresh.c_str(), target.c_str()) == 0 || fail(target, errno);
}

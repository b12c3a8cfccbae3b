#include "lab/daemon/install.h"

#include "lab/dictionary/applications.h"
#include "lab/dictionary/user_tables.h"
#include "link/places.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <spawn.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

constexpr size_t described_hosts_max = 2048;

fs::path below_root(const char* place)
{
    return placed(place).text;
}

fs::path program_directory()
{
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

bool make_folders()
{
    std::error_code error;
    for (const char* file :
         {place::analysis_daemon, place::management_daemon, place::dictionary_library, place::vendor_database,
          place::assets_configuration, place::capture_ring, place::capture_export})
        if (fs::create_directories(below_root(file).parent_path(), error); error)
            return fprintf(stderr, "vigil-lab: %s: %s\n", below_root(file).parent_path().c_str(),
                           error.message().c_str()),
                   false;
    fs::create_directories(below_root(place::alert_log_directory), error);
    return !error;
}

fs::path dictionary_library()
{
    fs::path beside = program_directory() / lab_dictionary_library;
    return fs::exists(beside) ? beside
                              : program_directory() / VIGIL_LAB_LIBRARY_FOLDER / lab_dictionary_library;
}

// Renamed into place, so that a running client never sees half a library.
bool install_dictionary()
{
    std::error_code error;
    fs::path target = below_root(place::dictionary_library), fresh = target;
    fresh += ".new";
    fs::copy_file(dictionary_library(), fresh, fs::copy_options::overwrite_existing, error);
    if (!error)
        fs::rename(fresh, target, error);
    if (error)
        fprintf(stderr, "vigil-lab: dictionary library: %s\n", error.message().c_str());
    return !error;
}

// Renamed into place, too: clients read what is configured while the lab runs.
void replace_file(const fs::path& target, const std::function<void(std::ostream&)>& write)
{
    fs::path fresh = target;
    fresh += ".new";
    std::ofstream file(fresh);
    write(file);
    file.close();
    std::error_code error;
    fs::rename(fresh, target, error);
    if (error || !file.good())
        fprintf(stderr, "vigil-lab: cannot write %s\n", target.c_str());
}

// A word of a configuration line: its values are split at blanks.
std::string one_word(std::string text)
{
    std::ranges::replace(text, ' ', '_');
    return text;
}

// Names of the hosts of the own network, ranges of the branches, sources of intelligence.
void write_descriptions(const World& world, std::ostream& file)
{
    file << "# hosts\n";
    size_t hosts = 0;
    for (const Endpoint& endpoint : world.endpoints) {
        if (endpoint.name == 0 || endpoint.address.ipv6 || !is_inside(endpoint.address))
            continue;
        file << "mac ip=" << address_text(endpoint.address)
             << " d=" << one_word(std::string(world.text(endpoint.name))) << " pid=1\n";
        if (++hosts == described_hosts_max)
            break;
    }
    file << "# branches\n";
    for (const NetworkBranch& branch : world.branches)
        file << "cusiprng iprng=" << branch.network << " info=" << one_word(branch.name) << "\n";
    file << "# intelligence\n"
            "malcitlgc id=0 name=own-findings cname=own-findings vendor=1\n"
            "malcitlgc id=1 name=shared-list cname=shared-list vendor=2\n";
}

void write_assets(const World& world, std::ostream& file)
{
    for (const AssetObjectGroup& group : world.asset_groups)
        file << "group id=" << group.id << " pid=" << group.parent << " name=" << one_word(group.name)
             << "\n";
    for (const AssetObject& asset : world.assets)
        file << "assets id=" << asset.id << " logicid=" << asset.logical_id << " pid=" << asset.group
             << " value="
             << one_word(asset.kind == AssetKind::text ? asset.text : address_text(asset.address))
             << " name=" << one_word(asset.name) << "\n";
}

void write_colours()
{
    static constexpr const char* colours[] = {"red", "orange", "green", "blue"};
    std::ofstream file(below_root(place::configuration_directory) / "obscfg.conf");
    for (size_t i = 0; i < std::size(colours); i++)
        file << "applevel id=" << i + 1 << " color=" << colours[i] << " extr=level" << i + 1 << "\n";
}

// The tool that enciphers vendor lists, beside us in the build tree or in one folder.
fs::path vendor_tool()
{
    fs::path beside = program_directory() / "vigil-ouidb";
    return fs::exists(beside) ? beside : program_directory() / "../tools/vigil-ouidb";
}

bool run(const fs::path& program, std::vector<std::string> arguments)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd : {1, 2}) // what it has to say of the list goes nowhere
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_WRONLY, 0);
    bool started = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return started && waitpid(child, &status, 0) == child && status == 0;
}

void install_vendors(const std::string& list)
{
    if (!run(vendor_tool(), {"vigil-ouidb", "make", list, below_root(place::vendor_database).string()}))
        fprintf(stderr, "vigil-lab: no vendor names: cannot make a database of %s\n", list.c_str());
}

// Whether nothing but folders lies below one.
bool holds_no_file(const fs::path& folder)
{
    std::error_code error;
    for (fs::recursive_directory_iterator i(folder, error), end; !error && i != end; i.increment(error))
        if (i->is_symlink(error) || !i->is_directory(error))
            return false;
    return !error;
}

} // namespace

const char* claim_root(const std::string& root)
{
    fs::path mark = fs::path(root) / ".vigil-lab";
    std::error_code error;
    fs::create_directories(root, error);
    if (error)
        return "cannot be made";
    if (fs::is_regular_file(mark, error))
        return nullptr;
    if (!holds_no_file(root))
        return "is not empty, and not the lab's own";
    std::ofstream file(mark);
    file << "The lab appliance made this folder and may write everything below it.\n";
    return file.flush() ? nullptr : "cannot be written";
}

bool install_software()
{
    return make_folders() && install_dictionary();
}

void describe(const World& world)
{
    replace_file(below_root(place::configuration_directory) / "kestrel.conf",
                 [&](std::ostream& file) { write_descriptions(world, file); });
    replace_file(below_root(place::assets_configuration),
                 [&](std::ostream& file) { write_assets(world, file); });
}

bool install_appliance(const World& world, const std::string& vendor_list)
{
    if (!install_software())
        return false;
    describe(world);
    write_colours();
    install_vendors(vendor_list);
    return true;
}

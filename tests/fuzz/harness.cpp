// Around each call of a door: allocations that fail, files from memory, output into memory, and the product's state
// as it was when the program began. With libFuzzer, which brings main(), inputs are of the door that VIGIL_DOOR names;
// without it those of a corpus, whose folders have the doors' names.
#include "tests/fuzz/fuzz.h"

#include "base/output.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

extern char state_begin_data[], state_end_data[], state_begin_bss[], state_end_bss[];

namespace {

constexpr struct {
    const char* name;
    Door* run;
} doors[] = {
    {"replies", replies},     {"dictionary", dictionary}, {"vendors", vendors}, {"ring", ring},       {"configuration", configuration},
    {"arguments", arguments}, {"addresses", addresses},   {"texts", texts},     {"capture", capture}, {"recordings", recordings},
};

bool running = false, has_file = false;
unsigned allocations, failing;
bool failing_from;
std::set<void*> blocks;
std::vector<int> opened;
const int file = memfd_create("file", 0);
const std::string file_path = "/proc/self/fd/" + std::to_string(file);
std::string output;

bool refused()
{
    return running && ++allocations >= failing && failing != 0 && (failing_from || allocations == failing);
}

void* keep(void* block)
{
    if (running && block != nullptr)
        blocks.insert(block);
    return block;
}

// The product's state, word by word, as redzones lie between.
struct Part {
    char* begin;
    char* end;
    std::vector<uint64_t> before = {};
} parts[] = {
    {state_begin_data, state_end_data},
    {state_begin_bss, state_end_bss},
};

UNWATCHED void copy_words(volatile uint64_t* to, const volatile uint64_t* from, size_t count)
{
    for (size_t i = 0; i < count; i++)
        to[i] = from[i];
}

void save_state()
{
    const char* inside = output_detail::buffer;
    expect(inside > parts[1].begin && inside < parts[1].end, "the product is not linked between the marks of its state");
    for (Part& part : parts) {
        part.before.resize(static_cast<size_t>(part.end - part.begin) / sizeof(uint64_t));
        copy_words(part.before.data(), reinterpret_cast<uint64_t*>(part.begin), part.before.size());
    }
}

// The first byte of an input says which allocation fails, alone or with all that follow.
void run(Door* door, std::string_view bytes)
{
    if (parts[0].before.empty())
        save_state();
    Input input{bytes};
    const uint8_t choice = input.number();
    failing = choice & 127;
    failing_from = choice > 127;
    allocations = 0;
    has_file = false;
    output.clear();
    running = true;
    door(input);
    running = false;
    std::for_each(blocks.begin(), blocks.end(), free);
    std::for_each(opened.begin(), opened.end(), close);
    blocks.clear();
    opened.clear();
    for (Part& part : parts)
        copy_words(reinterpret_cast<uint64_t*>(part.begin), part.before.data(), part.before.size());
}

} // namespace

void expect(bool holds, const char* otherwise)
{
    if (holds)
        return;
    fprintf(stderr, "fell short: %s\n", otherwise);
    abort();
}

const char* put_file(std::string_view content)
{
    has_file = true;
    expect(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) >= 0, "no room for a file");
    return file_path.c_str();
}

std::string_view printed_output()
{
    return output;
}

#pragma GCC diagnostic ignored "-Wmissing-declarations"
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);
int __real_open(const char* path, int flags, ...);
ssize_t __real_write(int descriptor, const void* bytes, size_t size);

void* __wrap_malloc(size_t size)
{
    return refused() ? nullptr : keep(__real_malloc(size));
}

void* __wrap_calloc(size_t count, size_t size)
{
    return refused() ? nullptr : keep(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, size_t size)
{
    void* moved = refused() ? nullptr : __real_realloc(block, size);
    if (running && moved != nullptr)
        blocks.erase(block);
    return keep(moved);
}

void __wrap_free(void* block)
{
    if (running)
        blocks.erase(block);
    __real_free(block);
}

int __wrap_open(const char* path, int flags, ...)
{
    if (!running)
        return __real_open(path, flags, 0600);
    errno = ENOENT;
    const int descriptor = has_file ? __real_open(file_path.c_str(), flags) : -1;
    if (descriptor >= 0)
        opened.push_back(descriptor);
    return descriptor;
}

ssize_t __wrap_write(int descriptor, const void* bytes, size_t size)
{
    if (!running || descriptor != STDOUT_FILENO)
        return __real_write(descriptor, bytes, size);
    if (output.size() > 1 << 20) // a reader that has enough
        return -1;
    output.append(static_cast<const char*>(bytes), size);
    return static_cast<ssize_t>(size);
}
}

#ifdef FUZZING
extern "C" int LLVMFuzzerTestOneInput(const char* bytes, size_t size)
{
    static const auto* const door = std::ranges::find(doors, std::string_view(getenv("VIGIL_DOOR")), [](auto& one) { return one.name; });
    expect(door != std::end(doors), "VIGIL_DOOR names no door");
    run(door->run, {bytes, size});
    return 0;
}
#else
int main(int, char** argv)
{
    for (const auto& door : doors)
        for (const auto& input : std::filesystem::directory_iterator(std::filesystem::path(argv[1]) / door.name)) {
            fprintf(stderr, "%s\n", input.path().c_str()); // the last one fell short
            std::ifstream content(input.path(), std::ios::binary);
            run(door.run, std::string(std::istreambuf_iterator<char>(content), {}));
        }
}
#endif

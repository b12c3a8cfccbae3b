// obspcap init and save, mempcap dump, hostinfo list.
#include "tests/support/program.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

// clang-format off
namespace {

constexpr Daemon M = Daemon::management, none = Daemon::none;
const std::string ring_place = "/usr/obslog/obspcap", export_place = "/log/obspcap.pcap";

// A ring of 100-byte blocks; block i holds the letter 'A' + i.
constexpr uint32_t bs = 100;
struct Slot { uint32_t state = 0, length = 0; };
std::string ring(const std::vector<Slot>& slots, uint32_t next = 0, uint32_t lock = 0)
{
    const auto cnt = static_cast<uint32_t>(slots.size());
    Bytes file(32 + 16 * cnt + bs * cnt);
    file.text(0, "OBS").u32(4, lock).u32(8, cnt).u32(12, bs).u32(16, next);
    for (uint32_t i = 0; i < cnt; i++)
        file.u32(32 + 16 * i, slots[i].state).u32(36 + 16 * i, slots[i].length).fill(32 + 16 * cnt + bs * i, static_cast<char>('A' + i), bs);
    return file;
}

Case fails(Case one, const std::string& output, int status, const std::string& errors = "")
{
    one.output = output, one.status = status, one.errors = errors;
    return one;
}

TEST(Capture, Save)
{
    const std::string kept = "an older and longer text", idle = ring({{}, {}});
    auto save = [&](const std::string& file, const std::string& saved, const std::string& file_after, const std::string& typed = "") {
        Case one = command("obspcap save " + typed, none, {}, "");
        one.files = {{ring_place, file}, {export_place, kept}};
        one.after = [=](const std::string& root) {
            EXPECT_EQ(saved, read_file(root + export_place));
            EXPECT_EQ(file_after, read_file(root + ring_place));
        };
        return one;
    };
    Case in_json = fails(save(ring({{2, 5}}), kept, ring({{}}), "of=/dev/full"), "{\"notes\":[\"write: No space left on device\"]}\n", 0, "write: No space left on device\n");
    in_json.arguments.insert(in_json.arguments.begin(), "@json");
    const std::string eight = ring({{}, {2, 5}, {3, 7}, {}, {}, {2, 3}, {9, 1}, {}}, 3);
    const Case cases[] = {
        // slots 1 and 5 are full, the search begins at 3; slot 2 was never released and keeps its length
        save(eight, "FFF", ring({{}, {2, 5}, {0, 7}, {}, {}, {}, {9, 1}, {}}, 6)),
        save(ring({{2, 101}, {2, 4}}, 2), std::string(100, 'A'), ring({{}, {2, 4}}, 1)), // lengths and next are clamped
        save(ring({{}, {2, ~0U}}, ~0U), std::string(100, 'B'), ring({{}, {}}, 0)),
        fails(save(idle, kept, idle), "no full block found\n", 0),
        fails(save(idle.substr(0, 31), kept, idle.substr(0, 31)), "INVfile\n", 255),
        fails(save("obs" + idle.substr(3), kept, "obs" + idle.substr(3)), "INV_FILE_TAG\n", 255),
        fails(save(idle + "x", kept, idle + "x"), "Corrupted, bs=100,cnt=2,filesz=265,memsz=264\n", 255),
        fails(save(idle, kept, idle, "if={root}/none"), "", 255, "open: No such file or directory\n"),
        failing("fstat", fails(save(idle, kept, idle), "", 255, "fstat: Input/output error\n")),
        failing("mmap", fails(save(idle, kept, idle), "", 255, "mmap: Cannot allocate memory\n")),
        fails(save(ring({{2, 5}}), kept, ring({{}}), "of={root}/none/x"), "fail to create file \"{root}/none/x\"", 255), // dropped
        fails(save(ring({{2, 5}}), kept, ring({{}}), "of={root}" + ring_place), "fail to create file \"{root}" + ring_place + "\"", 255),
        fails(save(ring({{2, 5}}), kept, ring({{}}), "of=/dev/full"), "", 0, "write: No space left on device\n"),
        in_json,
        fails(save(idle, kept, idle, "of=" + std::string(512, 'x')), "ARG_TOO_LONG\n", 255),
    };
    run_cases(cases);
}

TEST(Capture, Init)
{
    auto init = [](const std::string& line, const std::string& expected) {
        Case one = command("obspcap init " + line, none, {}, "");
        one.after = [=](const std::string& root) { EXPECT_TRUE(expected == read_file(root + ring_place)); };
        return one;
    };
    auto header = [](size_t size, uint32_t cnt, uint32_t block) { return Bytes(size).text(0, "OBS").u32(8, cnt).u32(12, block).str(); };
    Case exists = init("count=1", "what is there");
    exists.files = {{ring_place, "what is there"}};
    auto limited = [&](uint64_t bytes, const std::string& errors) { // nothing is left of what cannot be written
        Case one = fails(command("obspcap init bs=1 count=2", none, {}, ""), "fail to write file, err=File too large(27)\n", 255, errors);
        one.file_limit = bytes;
        one.after = [](const std::string& root) { EXPECT_NE(0, access((root + ring_place).c_str(), F_OK)); };
        return one;
    };
    const Case cases[] = {
        init("bs=9 count=2 bs=1 other=1", header(64 + 2 * 1048576, 2, 1048576)),
        init("count=0", header(32, 0, 134217728)),
        init("bs=512 file={root}" + ring_place, header(160, 8, 536870912)), // 8 blocks of 512 MiB wrap to nothing
        init("bs=4096 count=-1 count=1", header(48, 1, 0)),
        fails(init("count=-1 bs=1", ""), "INV_COUNT\n", 255),
        fails(init("count=0 bs=-1", ""), "INV_BS\n", 255),
        fails(exists, "file \"{root}" + ring_place + "\" exist!\n", 255),
        fails(init("file={root}/none/x", ""), "fail to create file \"{root}/none/x\"", 255),
        limited(0, "fwrite: File too large\n"),
        limited(31, "fwrite: File too large\n"),
        limited(63, ""),              // within the slots
        limited(64 + 2097151, ""), // within the blocks
    };
    run_cases(cases);
    PrivateRoot root;
    const std::string place = root.path() + ring_place, target = root.path() + "/target";
    auto init_there = [&] { return Program({"obspcap", "init", "bs=512"}, environment_below(root.path())).wait().output; };
    ASSERT_EQ(0, symlink("../../link", place.c_str())); // to a link, to nothing yet
    ASSERT_EQ(0, symlink(target.c_str(), (root.path() + "/link").c_str()));
    limit_files(32);
    EXPECT_EQ("fail to write file, err=File too large(27)\n", init_there());
    limit_files();
    EXPECT_NE(0, access(target.c_str(), F_OK)); // removed, while the links stay
    EXPECT_EQ("", init_there());
    EXPECT_EQ(header(160, 8, 536870912), read_file(target));
    EXPECT_EQ("file \"" + place + "\" exist!\n", init_there());
    EXPECT_EQ("no full block found\n", Program({"obspcap", "save"}, environment_below(root.path())).wait().output); // what was made opens
    ASSERT_EQ(0, unlink(place.c_str()) + symlink("obspcap", place.c_str())); // in a circle
    EXPECT_EQ("fail to create file \"" + place + "\"", init_there());
}

// As many saves as there are full blocks, all at once: each block goes to one of them.
TEST(Capture, SavesAtTheSameMomentShareTheBlocks)
{
    PrivateRoot root;
    root.write(ring_place, ring(std::vector<Slot>(8, {2, 50})));
    std::vector<std::unique_ptr<Program>> saves;
    for (int i = 0; i < 8; i++)
        saves.push_back(std::make_unique<Program>(std::vector<std::string>{"obspcap", "save", "of=" + root.path() + "/" + std::to_string(i)}, environment_below(root.path())));
    std::set<std::string> blocks;
    for (int i = 0; i < 8; i++) {
        EXPECT_EQ("", saves[static_cast<size_t>(i)]->wait().output);
        blocks.insert(read_file(root.path() + "/" + std::to_string(i)));
    }
    EXPECT_EQ(8U, blocks.size());
    for (const std::string& block : blocks)
        EXPECT_EQ(std::string(50, block.empty() ? '?' : block[0]), block);
}

// What ends or halts a run waits while a slot is taken or a ring is half made, but neither for a reader that never comes
// to the output, a FIFO, nor while another process holds the lock.
TEST(Capture, SignalsLeaveNothingHalfDone)
{
    PrivateRoot root;
    const std::string fifo = root.path() + "/fifo", file = root.path() + ring_place;
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    auto start = [&](const std::string& verb, const std::string& typed) {
        return std::make_unique<Program>(std::vector<std::string>{"obspcap", verb, typed}, environment_below(root.path()));
    };
    auto slot_is = [&](char state) { return wait_until([&] { return read_file(file)[32] == state; }); };
    for (int signal : {SIGTERM, SIGHUP, SIGQUIT, SIGALRM}) {
        root.write(ring_place, ring({{2, 50}}));
        auto save = start("save", "of=" + fifo);
        ASSERT_TRUE(slot_is(3));
        kill(save->pid(), signal);
        EXPECT_EQ(signal == SIGALRM ? -SIGALRM : 1, save->wait().status) << signal;
        EXPECT_EQ(ring({{}}), read_file(file)) << signal;
    }
    root.write(ring_place, ring({{2, 50}}));
    auto save = start("save", "of=" + fifo);
    ASSERT_TRUE(slot_is(3));
    kill(save->pid(), SIGTSTP);
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_TRUE(slot_is(0));
    kill(save->pid(), SIGCONT);
    EXPECT_EQ(0, save->wait().status);
    char bytes[51];
    EXPECT_EQ(50, read(reader, bytes, sizeof bytes));
    close(reader);

    root.write(ring_place, ring({{2, 50}}, 0, 1));
    auto waiting = start("save", "");
    waiting->read_errors(1);
    kill(waiting->pid(), SIGINT);
    EXPECT_EQ(1, waiting->wait().status);
    EXPECT_EQ("obspcap: another process holds the lock of the capture ring\n", waiting->wait().errors);
    EXPECT_EQ(ring({{2, 50}}, 0, 1), read_file(file));

    unlink(file.c_str());
    auto init = start("init", "count=500000000"); // eight gigabytes of slots
    struct stat status {};
    ASSERT_TRUE(wait_until([&] { return stat(file.c_str(), &status) == 0 && status.st_size > 32; }));
    kill(init->pid(), SIGTERM);
    EXPECT_EQ(1, init->wait().status);
    EXPECT_EQ("", init->wait().output);
    EXPECT_NE(0, access(file.c_str(), F_OK));
}

TEST(Capture, ASlotThatWasTakenOverIsSaid)
{
    PrivateRoot root;
    const std::string fifo = root.path() + "/fifo", file = root.path() + ring_place;
    root.write(ring_place, ring({{2, 50}}));
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    Program save({"obspcap", "save", "of=" + fifo}, environment_below(root.path()));
    ASSERT_TRUE(wait_until([&] { return read_file(file)[32] == 3; }));
    EXPECT_EQ("no full block found\n", Program({"obspcap", "save"}, environment_below(root.path())).wait().output);
    EXPECT_EQ(std::string(50, 'A'), read_file(fifo));
    EXPECT_EQ(0, save.wait().status);
    EXPECT_EQ("obspcap: another process has taken over the slot of the block\n", save.wait().errors);
}

TEST(Capture, Dump)
{
    auto dumped = [](const std::string& bytes, uint32_t size, bool last, int32_t cursor = 0, int32_t next = 0) {
        return Exchange{{.code = 2068, .module = "mempcap", .cursor = cursor, .segment_size = 65536},
                        {.answer = bytes, .count = 7, .last = last, .cursor = next,
                         .edit = [=](Bytes& record, std::span<char>) { record.u32(172, size).u8(20, 1); }}};
    };
    const std::string bytes = Bytes(65536).fill(1, '\xff', 65000);
    Case closed = command("mempcap dump", M, {dumped(bytes, 65536, false)}, "", 255); // one batch, and no more for nobody
    closed.output_to = "/dev/full";
    const Case cases[] = {
        command("mempcap dump ignored", M, {dumped(bytes, 65536, false, 0, 5), dumped("", 0, false, 5, 6), dumped(bytes, 65535, false, 6), dumped("end", 3, true)},
                bytes + bytes.substr(0, 65535) + "end"),
        command("mempcap dump", M, {dumped("ab", 2, false), dumped("", 65537, true)}, "abINV_REPLY\n", 255),
        command("mempcap dump", M, {{{.code = 2068, .module = "mempcap"}, {.error = 4, .error_text = "IDLE"}}}, "IDLE\n", 255),
        closed,
    };
    run_cases(cases);
}

TEST(Capture, Hosts)
{
    auto host = [](const std::string& name, uint32_t dns, uint32_t http, uint32_t sub, uint8_t valid = 1) {
        return Bytes(120).u32(8, 4294967295).u8(12, valid).text(13, name, 43).ip(56, 10, 0, 0, 9).be16(60, 80).be16(62, 443).be16(66, 1)
            .u32(72, dns).u32(76, http).u32(80, sub).u32(84, 1).u32(88, 2).u32(92, 3).fill(96, 'n', 24).str();
    };
    auto line = [](const std::string& name, const std::string& counts) {
        return name + " 2106-02-07/14:28:15 " + counts + " 1 2 3 10.0.0.9 80,443 " + std::string(24, 'n') + "\n";
    };
    const std::string wide(43, 'w');
    const Reply three{.answer = host("a", 5, 1, 0) + host(wide, 4, 4294967295, 8) + host("c", 9, 2, 0), .count = 3, .last = false, .cursor = 1};
    const Reply hidden{.answer = host("d", 0, 0, 90, 0) + host("", 0, 0, 80) + Bytes(120).u8(12, 1).u8(13, 'e').str() +
                                  Bytes(120).u8(12, 1).u8(13, 'f').fill(60, '\xff', 12).str(), .count = 4};
    auto list = [&](const std::string& typed, const std::string& output) {
        return command("hostinfo list" + typed, M, {{{.code = 2055, .module = "obshost", .segment_size = 2097152}, three},
                                                    {{.code = 2055, .module = "obshost", .cursor = 1}, hidden}}, output);
    };
    const std::string a = line("a", "12 5 1 6 0"), w = line(wide, "17 4 4294967295 14 8"), c = line("c", "17 9 2 6 0");
    const std::string e = "e 1970-01-01/08:00:00 0 0 0 0 0 0 0 0 0.0.0.0  \n"
                          "f 1970-01-01/08:00:00 0 0 0 0 0 0 0 0 0.0.0.0 65535,65535,65535,65535,65535,65535 \n";
    const Case cases[] = {
        list("", w + c + a + e), // equal sums as they came
        list(" sort=all count=4", w + c), // two hidden hosts use up a row each
        list(" sort=dns count=2 sort=dnsx", c + a),
        list(" sort=http count=99", w + c + a + e), // sums wrap: 13, 8, 7
        list(" count=0", ""),
        command("hostinfo list", M, {{{.code = 2055, .module = "obshost"}, {}}}, ""),
        command("hostinfo list", M, {{{.code = 2055, .module = "obshost"}, {.count = -1}}}, "INV_REPLY\n", 255),
        command("hostinfo list", M, {{{.code = 2055, .module = "obshost"}, {.error = 1, .error_text = "NO"}}}, "NO\n", 255),
    };
    run_cases(cases);
}

} // namespace

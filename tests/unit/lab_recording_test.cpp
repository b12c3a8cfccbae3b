// Recordings: a replay gives what was recorded, to whoever asks the same; what is damaged is refused by name.
#include "lab/recording/recorder.h"
#include "lab/recording/replay.h"
#include "lab/recording/sealed_text.h"
#include "lab/requests/turn.h"
#include "tests/unit/private_files.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr size_t segment_size = 3 * 4096 + 100;

struct Asked {
    uint8_t daemon = daemon_kind::analysis;
    uint32_t code = verb::list;
    std::string module = "gadget", text = "a=1 ";
    int32_t cursor = 0;
    bool dictionary = false;
};

// A client of one run: `own` is in everything that differs between runs.
struct Client {
    std::string segment;
    RequestRecord record{};

    Client(const Asked& asked, uint32_t own, size_t size = segment_size) : segment(asked.text)
    {
        segment.resize(size);
        record.code = asked.code;
        record.text.assign(asked.module);
        record.cursor = asked.cursor;
        record.wants_dictionary = asked.dictionary ? 1 : 0;
        record.data_length = static_cast<int32_t>(asked.text.size()) + 1;
        record.data_address = record.answer_address = own * 4096ULL;
        record.segment_id = static_cast<int32_t>(own);
        record.time = own;
        record.segment_size = static_cast<uint32_t>(size);
    }
};

void record(Recorder& recorder, const Asked& asked, const std::string& answer, const std::function<void(RequestRecord&)>& change = nullptr)
{
    Client client(asked, 1);
    recorder.asked(asked.daemon, client.record, client.segment);
    client.segment.replace(0, answer.size() + 1, answer + '\0');
    client.record.length = static_cast<int32_t>(answer.size());
    client.record.last_batch = 1;
    client.record.text.assign("");
    if (change)
        change(client.record);
    recorder.answered(client.record, client.segment);
}

std::string answer(Replay& replay, const Asked& asked)
{
    Client client(asked, 2);
    client.segment.back() = '!'; // of an earlier exchange
    testing::internal::CaptureStderr();
    replay.answer(asked.daemon, client.record, client.segment);
    std::string said = testing::internal::GetCapturedStderr();
    if (client.record.error == 0) {
        EXPECT_EQ(client.segment.back(), '\0');
        return client.segment.c_str();
    }
    EXPECT_NE(said.find("lacks request " + std::to_string(asked.code) + " \"" + asked.module + '"'), std::string::npos) << said;
    return std::string(client.record.text.view());
}

// A root with an appliance's files, and a recording beside it.
struct Recorded {
    PrivateFiles root;
    std::string folder = root.path + "/recording";
    Recorder recorder{folder};

    Recorded()
    {
        setenv("TZ", "UTC0", 1);
        root.write("/conf/kestrel.conf", "mac ip=10.0.0.1 d=one\n");
        root.write("/usr/ramdisk/etc/oui.dat", std::string(100'000, 'v'));
        EXPECT_TRUE(recorder.begin());
    }
    ~Recorded() { unsetenv("TZ"); }
};

TEST(LabRecording, AnswersTheSameRequestsInTheirOrder)
{
    Recorded recorded;
    const Asked first, second{.cursor = 5}, management{.daemon = daemon_kind::management}, dictionary{.dictionary = true},
        get{.code = verb::get}, file{.text = "file=" + recorded.root.path + "/log/x"};
    record(recorded.recorder, first, "one");
    record(recorded.recorder, second, "two");
    record(recorded.recorder, management, "four");
    record(recorded.recorder, first, "three");
    record(recorded.recorder, dictionary, "five");
    record(recorded.recorder, get, "six");
    record(recorded.recorder, file, "seven");
    Replay replay(recorded.folder);
    ASSERT_TRUE(replay.open());
    EXPECT_EQ(replay.contents(), "exchanges=7 TZ=\"UTC0\"");

    const std::string lacks = "NOT_IN_RECORDING";
    const struct {
        Asked asked;
        std::string answer;
    } steps[] = {
        {management, "four"},
        {first, "one"},
        {first, "three"}, // the second batch of the first run is left out
        {first, "one"},   // round and round
        {second, "two"},
        {get, "six"},
        {dictionary, "five"},
        {management, "four"},
        {{.daemon = daemon_kind::chart}, lacks},
        {{.code = verb::add}, lacks},
        {{.module = "gadgets"}, lacks},
        {{.text = "a=1"}, lacks},
        {{.cursor = 6}, lacks},
    };
    for (const auto& step : steps)
        EXPECT_EQ(answer(replay, step.asked), step.answer) << &step - steps;
    PrivateFiles other; // a root with another name
    EXPECT_EQ(answer(replay, {.text = "file=" + other.path + "/log/x"}), "seven");
    EXPECT_EQ(answer(replay, file), lacks);

    Client small(first, 2, 4); // "three" needs five bytes
    replay.answer(first.daemon, small.record, small.segment);
    EXPECT_EQ(small.record.text.view(), "SEGMENT_TOO_SMALL");
}

TEST(LabRecording, GivesClientsTheirOwnBack)
{
    Recorded recorded;
    record(recorded.recorder, {}, "kept", [](RequestRecord& reply) {
        reply.cursor = -3;
        reply.count = 7;
        reply.reserved_160[1] = 9;
        reply.text.assign(std::string("\x01 \\\"\n\xff", 6));
    });
    record(recorded.recorder, {}, "changed", [](RequestRecord& reply) {
        reply.segment_size = 77; // of a dump
        reply.data_address = 0;
        reply.error = -1;
    });
    Replay replay(recorded.folder);
    ASSERT_TRUE(replay.open());
    Client kept({}, 0xfffffff0), changed({}, 9);
    replay.answer(daemon_kind::analysis, kept.record, kept.segment);
    EXPECT_EQ(kept.record.cursor, -3);
    EXPECT_EQ(kept.record.count, 7);
    EXPECT_EQ(kept.record.reserved_160[1], 9);
    EXPECT_EQ(kept.record.text.view(), "\x01 \\\"\n\xff");
    EXPECT_EQ(kept.record.length, 4);
    EXPECT_EQ(kept.record.segment_id, -16);
    EXPECT_EQ(kept.record.time, 0xfffffff0);
    EXPECT_EQ(kept.record.segment_size, segment_size);
    EXPECT_EQ(kept.record.data_address, 0xfffffff0 * 4096ULL);
    EXPECT_EQ(kept.record.answer_address, 0xfffffff0 * 4096ULL);
    replay.answer(daemon_kind::analysis, changed.record, changed.segment);
    EXPECT_EQ(changed.record.error, -1);
    EXPECT_EQ(changed.record.segment_size, 77U);
    EXPECT_EQ(changed.record.data_address, 0U);
    EXPECT_EQ(changed.record.segment_id, 9);
}

TEST(LabRecording, KeepsFilesForTheirOwnerAloneAndAsTheyWereLast)
{
    Recorded recorded;
    record(recorded.recorder, {}, "one");
    recorded.root.write("/conf/kestrel.conf", "# changed in the meantime\n");
    fs::remove(recorded.root.path + "/usr/ramdisk/etc/oui.dat");
    record(recorded.recorder, {}, "two");
    Client unanswered({}, 1);
    recorded.recorder.asked(daemon_kind::analysis, unanswered.record, unanswered.segment);
    for (const auto& entry : fs::recursive_directory_iterator(recorded.folder))
        EXPECT_EQ(static_cast<int>(entry.status().permissions()), entry.is_directory() ? 0700 : 0600) << entry;
    EXPECT_EQ(static_cast<int>(fs::status(recorded.folder).permissions()), 0700);
    EXPECT_EQ(recorded.root.read("/recording/000001/before.bin"), "a=1 "); // no zeros behind
    EXPECT_FALSE(Recorder(recorded.folder).begin());                       // nothing is overwritten

    PrivateFiles root;
    root.write("/conf/obscfg.conf", "of another appliance");
    root.write("/conf/kestrel.conf", "of another appliance");
    Replay replay(recorded.folder);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(replay.open() && replay.install());
    EXPECT_NE(testing::internal::GetCapturedStderr().find("000003.part: is not complete"), std::string::npos);
    EXPECT_EQ(root.read("/conf/kestrel.conf"), "# changed in the meantime\n");
    EXPECT_FALSE(fs::exists(root.path + "/conf/obscfg.conf"));
    EXPECT_FALSE(fs::exists(root.path + "/usr/ramdisk/etc/oui.dat"));

    recorded.root.write("/recording/000001/after.bin", "One"); // while it is replayed
    Client client({}, 2);
    replay.answer(daemon_kind::analysis, client.record, client.segment);
    EXPECT_EQ(client.record.text.view(), "DAMAGED 000001/after.bin");

    EXPECT_FALSE(recorded.recorder.failed());
    fs::remove_all(recorded.folder);
    testing::internal::CaptureStderr();
    record(recorded.recorder, {}, "three");
    record(recorded.recorder, {}, "four");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "vigil-lab: " + recorded.folder + "/000004.part: No such file or directory; nothing is recorded from now on\n");
    EXPECT_TRUE(recorded.recorder.failed());
}

std::string without_seal(const std::string& text)
{
    return text.substr(0, text.rfind("end "));
}

std::string sealed(const std::string& text)
{
    return text + "end " + sha256_of(text) + '\n';
}

TEST(LabRecording, RefusesDamagedFilesByName)
{
    Recorded recorded;
    record(recorded.recorder, {}, "one");
    record(recorded.recorder, {.text = "b=2 "}, "two", [](RequestRecord& reply) { reply.count = 25; });
    fs::path folder = recorded.folder, damaged = recorded.root.path + "/damaged";

    // `from` becomes `to`; texts are sealed anew, as if they had been written so. No `from`: what the word
    // says.
    const struct {
        std::string file, from, to;
        std::string named = {}; // where it is not the file
    } damages[] = {
        {"recording.txt", "", "removed"},
        {"recording.txt", "", "flipped"},
        {"recording.txt", "", "piped"},
        {"recording.txt", "recording 1", "recording 2"},
        {"recording.txt", "lab_dict.so", "../dict.so"},
        {"recording.txt", "user_protocols 16", "user_protocols 17"},
        {"recording.txt", "user_groups 8", "user_groups 08x"},
        {"recording.txt", "file kestrel.conf", "file oui.dat"},
        {"recording.txt", "file oui.dat", "file ../../x"},
        {"recording.txt", "size 100000", "size 100001", "files/oui.dat"},
        {"recording.txt", "size 100000", "size 300000000"},
        {"files/oui.dat", "", "removed"},
        {"files/oui.dat", "", "flipped"},
        {"files/kestrel.conf", "", "linked"},
        {"000001", "", "removed"},
        {"000001/before.bin", "", "piped"},
        {"000001/request.txt", "", "linked"},
        {"000002/before.bin", "", "halved"},
        {"000002/after.bin", "", "flipped"},
        {"000002/after.bin", "", "removed"},
        {"000002/reply.txt", "", "halved"},
        {"000002/reply.txt", "reply 1", "request 1"},
        {"000002/reply.txt", "daemon analysis", "daemon chart"},
        {"000002/reply.txt", "segment 12388", "segment 12389"},
        {"000002/reply.txt", "count 25", "count 99999999999"},
        {"000002/reply.txt", "count 25", "count 25\ncount 25"},
        {"000002/reply.txt", "count 25", "count"},
        {"000002/request.txt", "daemon analysis", "daemon kitchen"},
        {"000002/request.txt", "daemon analysis\n", ""},
        {"000002/request.txt", "segment 12388", "segment 99999999999999999999"},
        {"000002/request.txt", "segment 12388", "segment 4"},
        {"000002/request.txt", "data_length 5", "data_length -1"},
        {"000002/request.txt", "data_length 5", "data_length 12389"},
        {"000002/request.txt", "\"gadget\"", "\"gadget"},
        {"000002/request.txt", "\"gadget\"", "\"\\x0g\""},
        {"000002/request.txt", "\"gadget\"", '"' + std::string(117, 'x') + '"'},
        {"000002/request.txt", "\"gadget\"", '"' + std::string(99'999, 'x') + '"'},
    };
    for (const auto& damage : damages) {
        SCOPED_TRACE(damage.file + ": " + damage.from + " -> " + damage.to.substr(0, 40));
        fs::remove_all(damaged);
        fs::copy(folder, damaged, fs::copy_options::recursive);
        fs::path path = damaged / damage.file;
        std::string content = fs::is_directory(path) ? "" : recorded.root.read("/damaged/" + damage.file);
        if (!damage.from.empty()) {
            content = without_seal(content);
            ASSERT_NE(content.find(damage.from), std::string::npos);
            content.replace(content.find(damage.from), damage.from.size(), damage.to);
            recorded.root.write("/damaged/" + damage.file, sealed(content));
        } else if (damage.to == "halved") {
            fs::resize_file(path, content.size() / 2);
        } else if (damage.to == "flipped") {
            content[content.size() / 2] ^= 1;
            recorded.root.write("/damaged/" + damage.file, content);
        } else {
            fs::remove_all(path);
            if (damage.to == "piped") {
                ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
            }
            if (damage.to == "linked")
                fs::create_symlink(folder / damage.file, path);
        }
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Replay(damaged).open());
        std::string said = testing::internal::GetCapturedStderr();
        const std::string& named = damage.named.empty() ? damage.file : damage.named;
        EXPECT_TRUE(said.starts_with("vigil-lab: " + (damaged / named).string() + ": ")) << said;
        EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
    }
    EXPECT_TRUE(Replay(folder).open());
}

} // namespace

// Recordings: a replay gives what was recorded, to whoever asks the same; what is damaged is refused by name.
#include "lab/recording/recorder.h"
#include "lab/recording/replay.h"
#include "lab/requests/turn.h"
#include "tests/unit/private_files.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

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
        file{.text = "file=" + recorded.root.path + "/log/x"};
    record(recorded.recorder, first, "one");
    record(recorded.recorder, second, "two");
    record(recorded.recorder, management, "four");
    record(recorded.recorder, first, "three");
    record(recorded.recorder, dictionary, "five");
    record(recorded.recorder, file, "six");
    Replay replay(recorded.folder);
    ASSERT_TRUE(replay.open());
    EXPECT_EQ(replay.contents(), "exchanges=6 TZ=\"UTC0\"");

    const std::string lacks = "NOT_IN_RECORDING";
    const std::pair<Asked, std::string> steps[] = {
        {management, "four"},
        {first, "one"},
        {first, "three"}, // the second batch of the first run is left out
        {first, "one"},   // round and round
        {second, "two"},
        {dictionary, "five"},
        {management, "four"},
        {{.daemon = daemon_kind::chart}, lacks},
        {{.code = verb::add}, lacks},
        {{.module = "gadgets"}, lacks},
        {{.text = "a=1"}, lacks},
        {{.cursor = 6}, lacks},
    };
    for (const auto& [asked, expected] : steps)
        EXPECT_EQ(answer(replay, asked), expected);
    PrivateFiles other; // a root with another name
    EXPECT_EQ(answer(replay, {.text = "file=" + other.path + "/log/x"}), "six");
    EXPECT_EQ(answer(replay, file), lacks);

    Client small(first, 2, 4); // "three" needs five bytes
    replay.answer(first.daemon, small.record, small.segment);
    EXPECT_EQ(small.record.text.view(), "SEGMENT_TOO_SMALL");
}

TEST(LabRecording, GivesClientsTheirOwnBackUnlessTheDaemonChangedIt)
{
    Recorded recorded;
    auto change = [](RequestRecord& reply) {
        reply.cursor = -3;
        reply.reserved_160[1] = 9;
        reply.text.assign(std::string("\x01 \\\"\n\xff", 6));
        reply.segment_size = 77; // of a dump
        reply.data_address = 0;
        reply.error = -1;
        reply.length = 6;
        reply.last_batch = 1;
    };
    record(recorded.recorder, {}, "answer", change);
    Replay replay(recorded.folder);
    ASSERT_TRUE(replay.open());
    Client client({}, 0xfffffff0);
    RequestRecord expected = client.record;
    change(expected);
    replay.answer(daemon_kind::analysis, client.record, client.segment);
    EXPECT_EQ(memcmp(&client.record, &expected, sizeof expected), 0);
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

    fs::remove_all(recorded.folder);
    testing::internal::CaptureStderr();
    record(recorded.recorder, {}, "three");
    record(recorded.recorder, {}, "four");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "vigil-lab: " + recorded.folder + "/000004.part: No such file or directory; nothing is recorded from now on\n");
    EXPECT_TRUE(recorded.recorder.failed());
}

TEST(LabRecording, RefusesDamagedFilesByName)
{
    Recorded recorded;
    record(recorded.recorder, {}, "one");
    record(recorded.recorder, {.text = "b=2 "}, "two", [](RequestRecord& reply) { reply.count = 25; });
    // What the shell does to a file; `resealed` it is as if it had been written so.
    const struct {
        std::string file, damage;
        std::string named = file; // by the message
    } cases[] = {
        {"recording.txt", "rm $f"},
        {"recording.txt", "sed -i s/UTC0/UTC1/ $f"},
        {"recording.txt", "rm $f; mkfifo $f"},
        {"recording.txt", "resealed 's,recording 1,recording 2,'"},
        {"recording.txt", "resealed s,lab_dict.so,../dict.so,"},
        {"recording.txt", "resealed 's,user_protocols 16,user_protocols 17,'"},
        {"recording.txt", "resealed s,kestrel.conf,oui.dat,"},
        {"recording.txt", "resealed s,oui.dat,../../x,"},
        {"recording.txt", "resealed 's,size 100000,size 100001,'", "files/oui.dat"},
        {"recording.txt", "resealed 's,size 100000,size 300000000,'"},
        {"files/oui.dat", "sed -i s/v/w/ $f"},
        {"files/kestrel.conf", "mv $f $f.true; ln -s $f.true $f"},
        {"000001", "rm -r $f"},
        {"000002/before.bin", "truncate -s -1 $f"},
        {"000002/after.bin", "sed -i s/w/W/ $f"},
        {"000002/reply.txt", "truncate -s -9 $f"},
        {"000002/reply.txt", "resealed s,analysis,chart,"},
        {"000002/reply.txt", "resealed 's,segment 12388,segment 12389,'"},
        {"000002/reply.txt", "resealed 's,count 25,count 99999999999,'"},
        {"000002/reply.txt", "resealed 's,count 25,count 25\\ncount 25,'"},
        {"000002/request.txt", "rm $f"},
        {"000002/request.txt", "resealed s,analysis,kitchen,"},
        {"000002/request.txt", "resealed /daemon/d"},
        {"000002/request.txt", "resealed 's,segment 12388,segment 4,'"},
        {"000002/request.txt", "resealed 's,data_length 5,data_length -1,'"},
        {"000002/request.txt", "resealed 's,data_length 5,data_length 12389,'"},
        {"000002/request.txt", "resealed 's,gadget\",gadget,'"},
        {"000002/request.txt", R"(resealed 's,gadget,\\x0g,')"},
        {"000002/request.txt", "resealed s,gadget," + std::string(117, 'x') + ','},
    };
    const std::string damaged = recorded.root.path + "/damaged", fresh = "rm -rf " + damaged + "; cp -r " + recorded.folder + ' ' + damaged,
                      resealed = "; resealed() { sed -i -e '$d' -e \"$1\" $f; echo end $(sha256sum <$f | cut -c-64) >>$f; }";
    for (const auto& [file, damage, named] : cases) {
        ASSERT_EQ(std::system((fresh + resealed + "; f=" + damaged + '/' + file + "; " + damage).c_str()), 0) << damage;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Replay(damaged).open()) << damage;
        std::string said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(said.starts_with("vigil-lab: " + damaged + '/' + named + ": ")) << damage << ": " << said;
        EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
    }
    EXPECT_TRUE(Replay(recorded.folder).open());
}

} // namespace

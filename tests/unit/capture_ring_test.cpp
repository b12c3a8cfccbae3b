// The ring's lock, at the moments at which another process can come between. The reader changes its signal
// mask after its look at the lock and before its grasp: there the other one acts.
#include "reports/capture/capture_ring.h"

#include <functional>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

// What the other one does at the next changes of the mask.
static std::vector<std::function<void()>> others_turns;

// Stands before the C library's in this program.
extern "C" int sigprocmask(int how, const sigset_t* set, sigset_t* before) noexcept
{
    if (!others_turns.empty()) {
        auto act = others_turns.front();
        others_turns.erase(others_turns.begin());
        act();
    }
    return static_cast<int>(syscall(SYS_rt_sigprocmask, how, set, before, 8));
}

namespace {

constexpr uint32_t slots = 2, block_size = 256;

class CaptureRingTest : public testing::Test {
protected:
    ~CaptureRingTest() override
    {
        EXPECT_TRUE(others_turns.empty()) << "the lock was not asked for";
        EXPECT_EQ(0U, lock);
    }
    std::vector<uint32_t> memory = std::vector<uint32_t>(capture_ring_size(slots, block_size) / 4);
    CaptureRing ring{reinterpret_cast<char*>(memory.data()), memory.size() * 4, slots, block_size};
    uint32_t& lock = reinterpret_cast<CaptureRingHeader*>(ring.base)->lock;
    CaptureSlot* slot = reinterpret_cast<CaptureSlot*>(ring.base + sizeof(CaptureRingHeader));
    TakenBlock block;
};

TEST_F(CaptureRingTest, ALockThatAnotherHasTakenIsNotGrasped)
{
    slot[0] = {.state = capture_slot::full, .length = 9, .writer_data = {}};
    others_turns = {[&] { lock = 1; },
                    [&] { // the reader has given up, and will look again
                        slot[0].state = capture_slot::taken;
                        lock = 0;
                    }};
    EXPECT_FALSE(take_full_block(ring, block));
    EXPECT_EQ(capture_slot::taken, slot[0].state);
}

TEST_F(CaptureRingTest, ABlockThatAnotherTookMeanwhileIsLeft)
{
    slot[0] = slot[1] = {.state = capture_slot::full, .length = 9, .writer_data = {}};
    others_turns = {[&] { slot[0].state = capture_slot::empty; }};
    EXPECT_TRUE(take_full_block(ring, block));
    EXPECT_EQ(1U, block.index);
    EXPECT_EQ(capture_slot::empty, slot[0].state);
    others_turns = {[&] { lock = 1; },
                    [&] { // freed as stale and filled anew
                        slot[1].state = capture_slot::full;
                        lock = 0;
                    }};
    testing::internal::CaptureStderr();
    release_block(ring, block);
    EXPECT_EQ("obspcap: another process has taken over the slot of the block\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(capture_slot::full, slot[1].state);
    EXPECT_EQ(9U, slot[1].length);
}

TEST_F(CaptureRingTest, ReleaseRefusesWhatIsNotTaken)
{
    slot[1] = {.state = capture_slot::full, .length = 9, .writer_data = {}};
    TakenBlock beyond{.index = slots}, full{.index = 1};
    EXPECT_EQ(-1, release_block(ring, beyond));
    EXPECT_EQ(-1, release_block(ring, full));
    EXPECT_EQ(9U, slot[1].length);
    slot[1].state = capture_slot::taken;
    EXPECT_EQ(0, release_block(ring, full));
    EXPECT_EQ(0U, slot[1].state | slot[1].length);
    slot[0].state = slot[1].state = capture_slot::taken;
    others_turns = {[&] { slot[0].state = capture_slot::full; }};
    recover_stale_slots(ring);
    EXPECT_EQ(capture_slot::full, slot[0].state);
    EXPECT_EQ(capture_slot::empty, slot[1].state);
}

} // namespace

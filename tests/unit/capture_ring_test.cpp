// Several readers beside a writer that fills slots: no block is lost, doubled or torn.
#include "reports/capture/capture_ring.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t slots = 5, block_size = 256, rounds = 20000;

// As the capture engine shares the ring: the same lock word, states 0 and 2.
struct Engine {
    std::vector<uint32_t> memory = std::vector<uint32_t>(capture_ring_size(slots, block_size) / 4);
    CaptureRing ring{reinterpret_cast<char*>(memory.data()), memory.size() * 4, slots, block_size};
    uint32_t& lock = reinterpret_cast<CaptureRingHeader*>(ring.base)->lock;
    CaptureSlot* slot = reinterpret_cast<CaptureSlot*>(ring.base + sizeof(CaptureRingHeader));

    bool fill(uint32_t number) // into any empty slot
    {
        uint32_t free = 0, i = 0;
        if (!__atomic_compare_exchange_n(&lock, &free, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE))
            return false;
        while (i < slots && slot[i].state != capture_slot::empty)
            i++;
        if (i < slots) {
            std::fill_n(memory.begin() + (capture_ring_size(slots, 0) + block_size * i) / 4, block_size / 4,
                        number);
            slot[i].length = 4 + number % (block_size - 4) / 4 * 4;
            slot[i].writer_data[0] = number;
            __atomic_store_n(&slot[i].state, capture_slot::full, __ATOMIC_RELEASE);
        }
        __atomic_store_n(&lock, 0, __ATOMIC_SEQ_CST);
        return i < slots;
    }
};

struct Reader {
    CaptureRing ring;
    std::vector<uint32_t> taken = {};
    int torn = 0;

    bool read_one()
    {
        TakenBlock block;
        if (!take_full_block(ring, block))
            return false;
        taken.push_back(block.slot.writer_data[0]);
        for (size_t at = 0; at < block.bytes.size(); at += 4)
            torn += memcmp(block.bytes.data() + at, &taken.back(), 4) != 0;
        torn += block.bytes.size() != block.slot.length;
        torn += release_block(ring, block) != 0;
        return true;
    }
};

TEST(CaptureRing, ReadersBesideAWriterShareTheBlocks)
{
    Engine engine;
    std::atomic<bool> written = false;
    Reader readers[3] = {{engine.ring}, {engine.ring}, {engine.ring}};
    std::vector<std::thread> threads;
    for (Reader& reader : readers)
        threads.emplace_back([&] {
            for (bool last = false; reader.read_one() || !last; std::this_thread::yield())
                last = written;
        });
    for (uint32_t number = 0; number < rounds;)
        engine.fill(number) ? void(number++) : std::this_thread::yield();
    written = true;
    std::vector<int> seen(rounds);
    for (int i = 0; i < 3; i++) {
        threads[static_cast<size_t>(i)].join();
        EXPECT_EQ(0, readers[i].torn);
        for (uint32_t number : readers[i].taken)
            seen[number]++;
    }
    EXPECT_EQ(std::vector<int>(rounds, 1), seen);
}

TEST(CaptureRing, ReleaseRefusesWhatIsNotTaken)
{
    Engine engine;
    CaptureSlot& slot = engine.slot[1] = {.state = capture_slot::full, .length = 9, .writer_data = {}};
    TakenBlock beyond{.index = slots}, full{.index = 1};
    EXPECT_EQ(-1, release_block(engine.ring, beyond));
    EXPECT_EQ(-1, release_block(engine.ring, full));
    EXPECT_EQ(9U, slot.length);
    slot.state = capture_slot::taken;
    EXPECT_EQ(0, release_block(engine.ring, full));
    EXPECT_EQ(0U, slot.state | slot.length);
}

} // namespace

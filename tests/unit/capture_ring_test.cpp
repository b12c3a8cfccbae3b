// Several readers beside a writer that fills slots: no block is lost, doubled or torn.
#include "reports/capture/capture_ring.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t slots = 5, block_size = 256;
constexpr uint32_t rounds = 20000;

// As the capture engine shares the ring: the same lock word, states 0 and 2.
struct Engine {
    CaptureRing& ring;
    CaptureRingHeader& header = *reinterpret_cast<CaptureRingHeader*>(ring.base);
    CaptureSlot* slot = reinterpret_cast<CaptureSlot*>(ring.base + sizeof(CaptureRingHeader));

    void lock()
    {
        for (uint32_t free = 0;
             !__atomic_compare_exchange_n(&header.lock, &free, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE);
             free = 0)
            std::this_thread::yield();
    }
    bool fill(uint32_t number) // into any empty slot
    {
        bool filled = false;
        lock();
        for (uint32_t i = 0; i < slots && !filled; i++) {
            if (slot[i].state != capture_slot::empty)
                continue;
            auto* words =
                reinterpret_cast<uint32_t*>(ring.base + capture_ring_size(slots, 0) + block_size * i);
            std::fill_n(words, block_size / 4, number);
            slot[i].length = 4 + number % (block_size - 4) / 4 * 4;
            slot[i].writer_data[0] = number;
            __atomic_store_n(&slot[i].state, capture_slot::full, __ATOMIC_RELEASE);
            filled = true;
        }
        __atomic_store_n(&header.lock, 0, __ATOMIC_SEQ_CST);
        return filled;
    }
};

struct Reader {
    CaptureRing ring;
    std::vector<uint32_t> taken = {};
    bool torn = false;

    void read_until(const std::atomic<bool>& written)
    {
        for (bool last = false; !last;) {
            last = written;
            for (TakenBlock block; take_full_block(ring, block); last = false) {
                uint32_t number = block.slot.writer_data[0];
                std::span words(reinterpret_cast<const uint32_t*>(block.bytes.data()),
                                block.bytes.size() / 4);
                torn |= block.bytes.size() != block.slot.length || words.empty();
                for (uint32_t word : words)
                    torn |= word != number;
                taken.push_back(number);
                torn |= release_block(ring, block) != 0;
            }
            std::this_thread::yield();
        }
    }
};

TEST(CaptureRing, ReadersBesideAWriterShareTheBlocks)
{
    std::vector<uint32_t> memory(capture_ring_size(slots, block_size) / 4);
    CaptureRing ring{.base = reinterpret_cast<char*>(memory.data()),
                     .size = memory.size() * 4,
                     .cnt = slots,
                     .bs = block_size};
    std::atomic<bool> written = false;
    Reader readers[3] = {{ring}, {ring}, {ring}};
    std::vector<std::thread> threads;
    for (Reader& reader : readers)
        threads.emplace_back([&] { reader.read_until(written); });
    Engine engine{ring};
    for (uint32_t number = 0; number < rounds;)
        engine.fill(number) ? void(number++) : std::this_thread::yield();
    written = true;
    for (std::thread& thread : threads)
        thread.join();

    std::vector<uint32_t> all;
    for (const Reader& reader : readers) {
        EXPECT_FALSE(reader.torn);
        all.insert(all.end(), reader.taken.begin(), reader.taken.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(rounds, all.size());
    for (uint32_t i = 0; i < rounds; i++)
        ASSERT_EQ(i, all[i]);
}

TEST(CaptureRing, ReleaseRefusesWhatIsNotTaken)
{
    std::vector<uint32_t> memory(capture_ring_size(slots, 0) / 4);
    CaptureRing ring{.base = reinterpret_cast<char*>(memory.data()), .size = memory.size() * 4, .cnt = slots};
    CaptureSlot& slot = Engine{ring}.slot[1];
    slot = {.state = capture_slot::full, .length = 9, .writer_data = {}};
    TakenBlock beyond{.index = slots}, full{.index = 1};
    EXPECT_EQ(-1, release_block(ring, beyond));
    EXPECT_EQ(-1, release_block(ring, full));
    EXPECT_EQ(9U, slot.length);
    slot.state = capture_slot::taken;
    EXPECT_EQ(0, release_block(ring, full));
    EXPECT_EQ(0U, slot.state | slot.length);
}

} // namespace

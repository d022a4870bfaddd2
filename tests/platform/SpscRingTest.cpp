#include "platform/SpscRing.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using platform::SpscRing;

TEST(SpscRing, KeepsOrderAcrossTheWrapAndBetweenThreads)
{
    // Odd sizes so that the runs land everywhere around the end of the storage.
    SpscRing<int> ring(7);
    EXPECT_EQ(ring.capacity(), 7u);
    std::vector<int> out(5);
    int next = 0, expected = 0;
    for (int round = 0; round < 20; ++round) {
        std::vector<int> in(size_t(3 + round % 5));
        for (int& v : in)
            v = next++;
        const size_t wrote = ring.write(in);
        next -= int(in.size() - wrote);  // what did not fit is offered again
        EXPECT_LE(ring.readable(), ring.capacity());
        const size_t got = ring.read(std::span<int>(out.data(), size_t(1 + round % 5)));
        for (size_t i = 0; i < got; ++i)
            ASSERT_EQ(out[i], expected++);
    }
    // A full ring takes what fits and no more.
    const size_t room = ring.writable();
    EXPECT_EQ(room, ring.capacity() - ring.readable());
    EXPECT_EQ(ring.write(std::vector<int>(20, -1)), room);
    EXPECT_EQ(ring.writable(), 0u);
    EXPECT_EQ(ring.readable(), ring.capacity());

    // One producer and one consumer: every item arrives once, in order.
    constexpr int kItems = 200000;
    SpscRing<int> shared(1021);
    std::thread producer([&] {
        std::vector<int> block(97);
        int v = 0;
        while (v < kItems) {
            size_t n = 0;
            while (n < block.size() && v + int(n) < kItems) {
                block[n] = v + int(n);
                ++n;
            }
            v += int(shared.write(std::span<const int>(block.data(), n)));
        }
    });
    std::vector<int> got(61);
    int seen = 0;
    bool inOrder = true;
    while (seen < kItems) {
        const size_t n = shared.read(got);
        for (size_t i = 0; i < n; ++i)
            inOrder = inOrder && got[i] == seen++;
    }
    producer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(shared.readable(), 0u);
}

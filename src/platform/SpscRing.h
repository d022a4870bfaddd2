#pragma once
#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <span>
#include <type_traits>
#include <vector>

namespace platform {

// A wait-free queue between exactly one producer thread and one consumer thread, for trivially
// copyable items. The storage is allocated once at construction, so neither side ever
// allocates or locks: the audio thread may sit on either end.
template <typename T>
class SpscRing {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    explicit SpscRing(size_t capacity) : mItems(capacity + 1) {}
    SpscRing(const SpscRing&) = delete;
    SpscRing& operator=(const SpscRing&) = delete;

    size_t capacity() const { return mItems.size() - 1; }

    // Producer side.
    size_t writable() const
    {
        const size_t w = mWrite.load(std::memory_order_relaxed);
        const size_t r = mRead.load(std::memory_order_acquire);
        return (r + mItems.size() - w - 1) % mItems.size();
    }
    bool push(const T& item) { return write(std::span<const T>(&item, 1)) == 1; }
    // Writes as many items as fit; answers how many.
    size_t write(std::span<const T> items)
    {
        const size_t count = std::min(items.size(), writable());
        const size_t w = mWrite.load(std::memory_order_relaxed);
        // At most two runs: up to the end of the storage, then from its start.
        const size_t first = std::min(count, mItems.size() - w);
        std::copy_n(items.data(), first, mItems.data() + w);
        if (count > first)
            std::copy_n(items.data() + first, count - first, mItems.data());
        mWrite.store((w + count) % mItems.size(), std::memory_order_release);
        return count;
    }

    // Consumer side.
    size_t readable() const
    {
        const size_t r = mRead.load(std::memory_order_relaxed);
        const size_t w = mWrite.load(std::memory_order_acquire);
        return (w + mItems.size() - r) % mItems.size();
    }
    bool pop(T& item) { return read(std::span<T>(&item, 1)) == 1; }
    size_t read(std::span<T> out)
    {
        const size_t count = std::min(out.size(), readable());
        const size_t r = mRead.load(std::memory_order_relaxed);
        const size_t first = std::min(count, mItems.size() - r);
        std::copy_n(mItems.data() + r, first, out.data());
        if (count > first)
            std::copy_n(mItems.data(), count - first, out.data() + first);
        mRead.store((r + count) % mItems.size(), std::memory_order_release);
        return count;
    }
    // Drops everything queued; consumer side only.
    void clear() { mRead.store(mWrite.load(std::memory_order_acquire), std::memory_order_release); }

private:
    std::vector<T> mItems;
    alignas(64) std::atomic<size_t> mWrite{0};
    alignas(64) std::atomic<size_t> mRead{0};
};

}  // namespace platform

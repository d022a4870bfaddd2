#pragma once
#include <atomic>
#include <memory>

// One point of a waveform: the largest negative excursion (stored positive), the largest
// positive excursion and the largest mean square of the samples under it.
struct WavePoint {
    float negative = 0;
    float positive = 0;
    float meanSquare = 0;
};

// The peaks of one file (or one range of it). The reader fills it on a background thread
// while the main thread draws from it, so every word is a relaxed atomic: a reader may see
// a half-updated point, never a torn float.
class Waveform {
public:
    explicit Waveform(int count);
    Waveform(const Waveform&) = delete;
    Waveform& operator=(const Waveform&) = delete;

    int count() const { return mCount.load(std::memory_order_relaxed); }
    // Points actually read, set when reading stops; never above the allocated size.
    void setCount(int count);
    int capacity() const { return mCapacity; }

    double framesPerPoint() const { return mFramesPerPoint.load(std::memory_order_relaxed); }
    void setFramesPerPoint(double value) { mFramesPerPoint.store(value, std::memory_order_relaxed); }

    WavePoint point(int index) const;
    void clearPoint(int index);
    // Raises the point's values to the given ones wherever they are larger.
    void raisePoint(int index, const WavePoint& value);
    void clear();

private:
    struct AtomicPoint {
        std::atomic<float> negative{0};
        std::atomic<float> positive{0};
        std::atomic<float> meanSquare{0};
    };
    const int mCapacity;
    std::unique_ptr<AtomicPoint[]> mPoints;
    std::atomic<int> mCount;
    std::atomic<double> mFramesPerPoint{0};
};

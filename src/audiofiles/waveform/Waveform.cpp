#include "audiofiles/waveform/Waveform.h"

#include <algorithm>

namespace {
constexpr auto kRelaxed = std::memory_order_relaxed;

void raise(std::atomic<float>& word, float value)
{
    if (value > word.load(kRelaxed))
        word.store(value, kRelaxed);
}
}  // namespace

Waveform::Waveform(int count)
    : mCapacity(std::max(count, 0)), mPoints(std::make_unique<AtomicPoint[]>(mCapacity)), mCount(mCapacity)
{
}

void Waveform::setCount(int count)
{
    mCount.store(std::clamp(count, 0, mCapacity), kRelaxed);
}

WavePoint Waveform::point(int index) const
{
    const AtomicPoint& p = mPoints[index];
    return {p.negative.load(kRelaxed), p.positive.load(kRelaxed), p.meanSquare.load(kRelaxed)};
}

void Waveform::clearPoint(int index)
{
    AtomicPoint& p = mPoints[index];
    p.negative.store(0, kRelaxed);
    p.positive.store(0, kRelaxed);
    p.meanSquare.store(0, kRelaxed);
}

void Waveform::raisePoint(int index, const WavePoint& value)
{
    AtomicPoint& p = mPoints[index];
    raise(p.negative, value.negative);
    raise(p.positive, value.positive);
    raise(p.meanSquare, value.meanSquare);
}

void Waveform::clear()
{
    for (int i = 0; i < mCapacity; ++i)
        clearPoint(i);
}

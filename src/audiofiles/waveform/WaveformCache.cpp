#include "audiofiles/waveform/WaveformCache.h"

#include "audiofiles/waveform/PeakReader.h"
#include "audiofiles/waveform/Waveform.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"

#include <QPointer>

namespace {
constexpr int kInitialCapacity = 32;
}

WaveformCache::WaveformCache(int pointCount, ReadFunction read, QObject* parent)
    : QObject(parent),
      mPointCount(pointCount),
      mRead(std::move(read)),
      mCancel(std::make_shared<std::atomic<bool>>(false))
{
    if (!mRead) {
        mRead = [](Waveform& waveform, const QString& path, const std::atomic<bool>& cancel) {
            return PeakReader::readWaveformInto(waveform, path, 0, 0, cancel);
        };
    }
    mCache.reserve(kInitialCapacity);
    mRedrawTimer.setInterval(kRedrawIntervalMs);
    connect(&mRedrawTimer, &QTimer::timeout, this, &WaveformCache::redraw);
}

WaveformCache::~WaveformCache()
{
    // A running reader stops at its next read; it owns its record and flag.
    mCancel->store(true);
}

bool WaveformCache::loadURL(const QString& path)
{
    if (mLoading) {
        mCancel->store(true);
        QTimer::singleShot(kRetryDelayMs, this, [this, path] { loadURL(path); });
        return false;
    }
    mCancel->store(false);
    if (path.isEmpty()) {
        mCurrent.reset();
        emit redraw();
        return false;
    }
    const auto it = mCache.constFind(path);
    if (it != mCache.cend()) {
        if (it->stamp == platform::FileStamp::of(path)) {
            mCurrent = it->waveform;
            emit redraw();
            mRecent.removeAll(path);
            mRecent.append(path);
            return true;
        }
        platform::log(QStringLiteral("Replaced on disk, reading again: %1").arg(path));
        mCache.erase(it);
    }
    startLoad(path);
    return true;
}

void WaveformCache::startLoad(const QString& path)
{
    mLoading = true;
    emit loadingChanged(true);
    auto waveform = std::make_shared<Waveform>(mPointCount);
    mCurrent = waveform;
    // Stamped before the read: a file replaced while it is read is read again next time.
    mCache.insert(path, Record{waveform, platform::FileStamp::of(path)});
    mRecent.removeAll(path);
    mRecent.append(path);
    evictBeyondBound();
    mRedrawTimer.start();

    auto cancel = mCancel;
    auto read = mRead;
    platform::runInBackground(
        this,
        [path, waveform, cancel, read] {
            read(*waveform, path, *cancel);
            const bool cancelled = cancel->load();
            if (cancelled)
                platform::log(QStringLiteral("Cancelled"));
            return cancelled;
        },
        [this, path](bool cancelled) { finishLoad(path, cancelled); });
}

void WaveformCache::evictBeyondBound()
{
    while (mRecent.size() > kMaxPaths) {
        const QString oldest = mRecent.takeFirst();
        const auto it = mCache.find(oldest);
        if (it == mCache.end())
            continue;
        if (it->waveform == mCurrent) {
            mRecent.append(oldest);
            continue;
        }
        platform::log(QStringLiteral("Removing from cache:\n%1").arg(oldest));
        mCache.erase(it);
    }
}

void WaveformCache::finishLoad(const QString& path, bool cancelled)
{
    if (cancelled)
        mCache.remove(path);
    emit loadingChanged(false);
    emit redraw();
    mRedrawTimer.stop();
    mLoading = false;
}

void WaveformCache::deleted(const QString& path)
{
    mCancel->store(true);
    const auto it = mCache.find(path);
    if (it == mCache.end())
        return;
    platform::log(QStringLiteral("Removing %1 from waveform cache").arg(path));
    if (mCurrent == it->waveform)
        mCurrent.reset();
    mCache.erase(it);
}

void WaveformCache::renamed(const QString& oldPath, const QString& newPath)
{
    if (!mCache.contains(oldPath))
        return;
    mCache.insert(newPath, mCache.take(oldPath));
    mRecent.removeAll(newPath);
    if (const qsizetype i = mRecent.indexOf(oldPath); i >= 0)
        mRecent[i] = newPath;
}

void WaveformCache::clearCache()
{
    platform::log(QStringLiteral("CLEARING CACHE"));
    for (auto it = mCache.begin(); it != mCache.end();) {
        if (it->waveform == mCurrent) {
            ++it;
            continue;
        }
        platform::log(QStringLiteral("Removing cache for %1").arg(it.key()));
        it = mCache.erase(it);
    }
}

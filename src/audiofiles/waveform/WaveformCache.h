#pragma once
#include "platform/FileStamp.h"

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <atomic>
#include <functional>
#include <memory>

class Waveform;

// The waveforms of recently shown files and the loading of new ones on a background thread.
// Up to kMaxPaths records are kept, least recently shown dropped first: the bound limits
// memory, never whether the shown file gets its waveform. A record belongs to one version of
// its file: a file replaced under the same path is read again. The record being read is
// shared with the reader, so dropping it from the cache never frees it under the reader.
class WaveformCache : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxPaths = 100;
    static constexpr int kRedrawIntervalMs = 250;
    static constexpr int kRetryDelayMs = 250;

    using ReadFunction = std::function<double(Waveform&, const QString& path, const std::atomic<bool>& cancel)>;

    // pointCount is the size of every waveform; read defaults to reading the whole file.
    explicit WaveformCache(int pointCount, ReadFunction read = {}, QObject* parent = nullptr);
    ~WaveformCache() override;

    // Shows the file's waveform from the cache or starts loading it; an empty path clears.
    // While a load runs, it is cancelled and this call is retried shortly (answers false).
    bool loadURL(const QString& path);
    // Cancels a running load and frees the path's record.
    void deleted(const QString& path);
    void renamed(const QString& oldPath, const QString& newPath);
    // Frees every record except the one shown; the paths stay in the recency list.
    void clearCache();

    std::shared_ptr<Waveform> current() const { return mCurrent; }
    int pointCount() const { return mPointCount; }
    bool isLoading() const { return mLoading; }
    bool isCached(const QString& path) const { return mCache.contains(path); }
    const QStringList& recentPaths() const { return mRecent; }

signals:
    // The shown waveform changed or grew.
    void redraw();
    void loadingChanged(bool loading);

private:
    void startLoad(const QString& path);
    // Drops the oldest records beyond the bound, never the shown one, without cancelling.
    void evictBeyondBound();
    void finishLoad(const QString& path, bool cancelled);

    const int mPointCount;
    ReadFunction mRead;
    struct Record {
        std::shared_ptr<Waveform> waveform;
        platform::FileStamp stamp;
    };
    QHash<QString, Record> mCache;
    QStringList mRecent;
    std::shared_ptr<Waveform> mCurrent;
    std::shared_ptr<std::atomic<bool>> mCancel;
    bool mLoading = false;
    QTimer mRedrawTimer;
};

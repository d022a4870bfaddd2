#pragma once
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>
#include <mutex>
#include <vector>

namespace platform {

struct Notification {
    QString name;
    const void* object = nullptr;  // the poster, compared by identity only
    QVariantMap userInfo;
};

// Observers by name; `post` delivers synchronously on the posting thread.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;
    using Token = quint64;

    static NotificationCenter& defaultCenter();

    Token addObserver(const QString& name, Handler handler);
    void removeObserver(Token token);
    void post(const QString& name, const void* object = nullptr, const QVariantMap& userInfo = {});

private:
    struct Entry {
        Token token;
        QString name;
        std::shared_ptr<Handler> handler;
    };
    std::mutex mMutex;
    std::vector<Entry> mEntries;
    Token mNext = 1;
};

// Removes its observation when it goes away, so an observer never outlives its owner.
class ScopedObserver {
public:
    ScopedObserver() = default;
    ScopedObserver(const QString& name, NotificationCenter::Handler handler);
    ~ScopedObserver();
    ScopedObserver(ScopedObserver&& other) noexcept;
    ScopedObserver& operator=(ScopedObserver&& other) noexcept;
    ScopedObserver(const ScopedObserver&) = delete;
    ScopedObserver& operator=(const ScopedObserver&) = delete;

private:
    NotificationCenter::Token mToken = 0;
};

}  // namespace platform

#include "platform/NotificationCenter.h"

#include <algorithm>
#include <utility>

namespace platform {

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(const QString& name, Handler handler)
{
    std::lock_guard lock(mMutex);
    const Token token = mNext++;
    mEntries.push_back({token, name, std::make_shared<Handler>(std::move(handler))});
    return token;
}

void NotificationCenter::removeObserver(Token token)
{
    std::lock_guard lock(mMutex);
    std::erase_if(mEntries, [token](const Entry& e) { return e.token == token; });
}

void NotificationCenter::post(const QString& name, const void* object, const QVariantMap& userInfo)
{
    // Handlers run unlocked: they may add or remove observers or post again.
    std::vector<std::shared_ptr<Handler>> handlers;
    {
        std::lock_guard lock(mMutex);
        for (const Entry& e : mEntries)
            if (e.name == name)
                handlers.push_back(e.handler);
    }
    const Notification note{name, object, userInfo};
    for (const auto& h : handlers)
        (*h)(note);
}

ScopedObserver::ScopedObserver(const QString& name, NotificationCenter::Handler handler)
    : mToken(NotificationCenter::defaultCenter().addObserver(name, std::move(handler)))
{
}

ScopedObserver::~ScopedObserver()
{
    if (mToken)
        NotificationCenter::defaultCenter().removeObserver(mToken);
}

ScopedObserver::ScopedObserver(ScopedObserver&& other) noexcept : mToken(std::exchange(other.mToken, 0)) {}

ScopedObserver& ScopedObserver::operator=(ScopedObserver&& other) noexcept
{
    if (this != &other) {
        if (mToken)
            NotificationCenter::defaultCenter().removeObserver(mToken);
        mToken = std::exchange(other.mToken, 0);
    }
    return *this;
}

}  // namespace platform

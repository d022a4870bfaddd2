#include "platform/SecretStore.h"

#include <QEventLoop>
#include <QPointer>
#include <qt6keychain/keychain.h>

namespace platform::SecretStore {
namespace {
const QString kService = QStringLiteral("com.orvenic.Wavelocker");

void run(QKeychain::Job* job, QObject* context, Done done)
{
    job->setAutoDelete(true);
    job->setInsecureFallback(false);
    QPointer<QObject> alive = context;
    const bool hasContext = context != nullptr;
    QObject::connect(job, &QKeychain::Job::finished, job, [alive, hasContext, done](QKeychain::Job* finished) {
        if (hasContext && !alive)
            return;
        Result result;
        result.ok = finished->error() == QKeychain::NoError;
        result.notFound = finished->error() == QKeychain::EntryNotFound;
        if (!result.ok)
            result.error = finished->errorString();
        if (auto* reader = qobject_cast<QKeychain::ReadPasswordJob*>(finished); reader && result.ok)
            result.value = reader->textData();
        done(result);
    });
    job->start();
}

Result wait(const std::function<void(Done)>& start)
{
    Result answer;
    QEventLoop loop;
    bool finished = false;
    start([&](const Result& result) {
        answer = result;
        finished = true;
        loop.quit();
    });
    if (!finished)
        loop.exec();
    return answer;
}
}  // namespace

void read(const QString& key, QObject* context, Done done)
{
    auto* job = new QKeychain::ReadPasswordJob(kService);
    job->setKey(key);
    run(job, context, std::move(done));
}

void write(const QString& key, const QString& value, QObject* context, Done done)
{
    auto* job = new QKeychain::WritePasswordJob(kService);
    job->setKey(key);
    job->setTextData(value);
    run(job, context, std::move(done));
}

void remove(const QString& key, QObject* context, Done done)
{
    auto* job = new QKeychain::DeletePasswordJob(kService);
    job->setKey(key);
    run(job, context, std::move(done));
}

Result readSync(const QString& key)
{
    return wait([&](Done done) { read(key, nullptr, std::move(done)); });
}

Result writeSync(const QString& key, const QString& value)
{
    return wait([&](Done done) { write(key, value, nullptr, std::move(done)); });
}

Result removeSync(const QString& key)
{
    return wait([&](Done done) { remove(key, nullptr, std::move(done)); });
}

}  // namespace platform::SecretStore

#pragma once
#include <QString>
#include <functional>

class QObject;

// The desktop's secret store (the Secret Service on the session bus, through qtkeychain).
// Secrets never fall back to a plain file: without a store, writes fail and say why.
namespace platform::SecretStore {

struct Result {
    bool ok = false;
    bool notFound = false;  // read or delete of a key that holds nothing
    QString value;          // read: the secret
    QString error;          // why it failed, without the secret
};
using Done = std::function<void(const Result&)>;

// Asynchronous: done runs on the main thread (a context that dies first cancels the answer).
void read(const QString& key, QObject* context, Done done);
void write(const QString& key, const QString& value, QObject* context, Done done);
void remove(const QString& key, QObject* context, Done done);

// The same, waiting in a local event loop (the command-line tool).
Result readSync(const QString& key);
Result writeSync(const QString& key, const QString& value);
Result removeSync(const QString& key);

}  // namespace platform::SecretStore

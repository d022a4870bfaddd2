#pragma once
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <mutex>

namespace testsupport {

// A private XDG tree (data, cache, config, runtime) for one test: the library, the private documents,
// the temporary folder and the settings all live inside it and vanish with it.
class TempTree {
public:
    TempTree();
    ~TempTree();
    QString root() const { return mDir.path(); }
    QString library() const;      // the library root, created
    QString path(const QString& relative) const { return mDir.path() + QLatin1Char('/') + relative; }

private:
    QTemporaryDir mDir;
};

// Collects log lines while alive.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    QStringList lines() const;
    bool contains(const QString& line) const { return lines().contains(line); }

private:
    mutable std::mutex mMutex;
    QStringList mLines;
};

// Collects alerts ("TITLE|MESSAGE") while alive instead of showing them.
class AlertCapture {
public:
    AlertCapture();
    ~AlertCapture();
    QStringList alerts() const;

private:
    mutable std::mutex mMutex;
    QStringList mAlerts;
};

// How long a wait for something that should happen may take. It returns as soon as the
// condition holds, so only a failing test waits this long; generous, since on a loaded 2-core
// machine a jackd, a child process or a background job can take many seconds to get going.
constexpr int kPatienceMs = 30000;

// Spins the event loop until pred holds or the time runs out; answers pred(). A wait for
// something that must NOT happen gives its own short time instead.
bool waitUntil(const std::function<bool()>& pred, int timeoutMs = kPatienceMs);

bool writeFile(const QString& path, const QByteArray& bytes);
QByteArray readFile(const QString& path);

// Runs a built program of ours (bin/NAME) and collects its exit code and output.
struct RunResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};
RunResult runProgram(const QString& name, const QStringList& args, const QStringList& extraEnv = {},
                     int timeoutMs = 120000);

}  // namespace testsupport

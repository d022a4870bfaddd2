#pragma once
#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>

// Shared pieces of the command-line tool's subcommands.
namespace tool {

enum ExitCode { kOk = 0, kFailed = 1, kUsage = 2 };

// Splits a subcommand's arguments into positionals and "--name value" / "--flag" options.
// Unknown options or a missing value make it invalid, with the reason in error().
class Arguments {
public:
    // valueOptions take one value; flagOptions take none.
    Arguments(const QStringList& args, const QStringList& valueOptions, const QStringList& flagOptions = {});

    bool ok() const { return mError.isEmpty(); }
    const QString& error() const { return mError; }
    const QStringList& positionals() const { return mPositionals; }
    bool has(const QString& option) const { return mValues.contains(option) || mFlags.contains(option); }
    QString value(const QString& option) const { return mValues.value(option); }
    QStringList values(const QString& option) const { return mValues.values(option); }
    // The option's value as a number; nullopt when absent; sets error() when not a number.
    std::optional<double> number(const QString& option);
    std::optional<long long> integer(const QString& option);

private:
    QStringList mPositionals;
    QMultiHash<QString, QString> mValues;
    QStringList mFlags;
    QString mError;
};

// Prints "wavelocker-tool: usage: ..." on stderr and answers kUsage.
int usageError(const QString& usage, const QString& reason = {});
// Prints the message on stderr.
void printError(const QString& message);
void printOut(const QString& line);

// A progress bar on stderr when stderr is a terminal; silent otherwise.
class ProgressBar {
public:
    explicit ProgressBar(QString label);
    ~ProgressBar();
    void update(float fraction);  // 0..1, safe from any thread

private:
    QString mLabel;
    bool mEnabled;
    int mLastPercent = -1;
};

}  // namespace tool

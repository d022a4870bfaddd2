#include "shell/tool/ToolSupport.h"

#include <cstdio>
#include <mutex>
#include <unistd.h>

namespace tool {

Arguments::Arguments(const QStringList& args, const QStringList& valueOptions, const QStringList& flagOptions)
{
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--")) {
            mPositionals += args.mid(i + 1);
            break;
        }
        if (!a.startsWith(QLatin1String("--")) || a.size() == 2) {
            mPositionals << a;
            continue;
        }
        QString name = a;
        QString inlineValue;
        bool hasInline = false;
        if (const qsizetype eq = a.indexOf(QLatin1Char('=')); eq > 0) {
            name = a.left(eq);
            inlineValue = a.mid(eq + 1);
            hasInline = true;
        }
        if (flagOptions.contains(name) && !hasInline) {
            mFlags << name;
        } else if (valueOptions.contains(name)) {
            if (hasInline) {
                mValues.insert(name, inlineValue);
            } else if (i + 1 < args.size()) {
                mValues.insert(name, args[++i]);
            } else {
                mError = QStringLiteral("option %1 needs a value").arg(name);
                return;
            }
        } else {
            mError = QStringLiteral("unknown option %1").arg(name);
            return;
        }
    }
}

std::optional<double> Arguments::number(const QString& option)
{
    if (!mValues.contains(option))
        return std::nullopt;
    bool ok = false;
    const double v = mValues.value(option).toDouble(&ok);
    if (!ok) {
        mError = QStringLiteral("%1 needs a number, not '%2'").arg(option, mValues.value(option));
        return std::nullopt;
    }
    return v;
}

std::optional<long long> Arguments::integer(const QString& option)
{
    if (!mValues.contains(option))
        return std::nullopt;
    bool ok = false;
    const long long v = mValues.value(option).toLongLong(&ok);
    if (!ok) {
        mError = QStringLiteral("%1 needs a whole number, not '%2'").arg(option, mValues.value(option));
        return std::nullopt;
    }
    return v;
}

int usageError(const QString& usage, const QString& reason)
{
    if (!reason.isEmpty())
        printError(QStringLiteral("wavelocker-tool: %1").arg(reason));
    printError(QStringLiteral("usage: wavelocker-tool %1").arg(usage));
    return kUsage;
}

void printError(const QString& message)
{
    std::fprintf(stderr, "%s\n", message.toUtf8().constData());
    std::fflush(stderr);
}

void printOut(const QString& line)
{
    QByteArray text = line.toUtf8();
    text += '\n';
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
}

namespace {
std::mutex gBarMutex;
}

ProgressBar::ProgressBar(QString label) : mLabel(std::move(label)), mEnabled(::isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar()
{
    if (mEnabled && mLastPercent >= 0)
        std::fprintf(stderr, "\n");
}

void ProgressBar::update(float fraction)
{
    if (!mEnabled)
        return;
    std::lock_guard lock(gBarMutex);
    const int percent = int(std::clamp(fraction, 0.0f, 1.0f) * 100.0f);
    if (percent == mLastPercent)
        return;
    mLastPercent = percent;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    std::fprintf(stderr, "\r%s [%s%s] %3d%%", mLabel.toUtf8().constData(), std::string(filled, '#').c_str(),
                 std::string(kWidth - filled, ' ').c_str(), percent);
    std::fflush(stderr);
}

}  // namespace tool

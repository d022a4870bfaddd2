#include "audiofiles/editor/TrimSettings.h"

#include "platform/Settings.h"

#include <array>
#include <cstdlib>

namespace TrimSettings {
namespace {

const QString kSnapBpmKey = QStringLiteral("SnapBpm");
constexpr std::array<const char*, kNudgeButtonCount> kNudgeTitles = {"<<<", "<<", "<", ">", ">>", ">>>"};
constexpr std::array<double, kNudgeButtonCount> kNudgeSteps = {-0.100, -0.010, -0.001, 0.001, 0.010, 0.100};

}  // namespace

QString nudgeTitle(int index)
{
    return QString::fromLatin1(kNudgeTitles.at(size_t(index)));
}

int nudgeTag(bool start, int index)
{
    return start ? -(index + 1) : index + 1;
}

double nudgeStep(int tag)
{
    const int magnitude = std::abs(tag);
    if (magnitude < 1 || magnitude > kNudgeButtonCount)
        return 0;
    return kNudgeSteps[size_t(magnitude - 1)];
}

bool nudgesStart(int tag)
{
    return tag < 0;
}

double snapTimeForTempo(double bpm)
{
    return 60.0 / bpm;
}

double tempoForSnapTime(double snapTime)
{
    return 60.0 / snapTime;
}

double storedTempo()
{
    return platform::Settings::value(kSnapBpmKey).toDouble();
}

void storeTempo(double bpm)
{
    platform::Settings::setValue(kSnapBpmKey, float(bpm));
}

}  // namespace TrimSettings

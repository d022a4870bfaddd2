#pragma once
#include <QString>

// The numbers and rules of the trim panel, apart from its widgets.
namespace TrimSettings {

// Both fades start here on entering the trim state: just enough to avoid clicks at the cuts.
constexpr double kStartFade = 0.003;
constexpr double kFadeMaximum = 999;
constexpr double kFadeStep = 0.001;
constexpr int kFadeDecimals = 3;
constexpr double kFadeDragSensitivity = 100;
constexpr double kTempoMinimum = 1;
constexpr double kTempoMaximum = 999;
constexpr int kTempoDecimals = 1;
constexpr int kNudgeButtonCount = 6;

// "<<<", "<<", "<", ">", ">>", ">>>" for index 0..5.
QString nudgeTitle(int index);
// The tag of a nudge button: the start's carry -1..-6, the end's 1..6, in title order.
int nudgeTag(bool start, int index);
// How far a button moves its handle, in seconds: -0.1, -0.01, -0.001, 0.001, 0.01, 0.1 by
// the tag's magnitude; 0 for a tag no button carries.
double nudgeStep(int tag);
bool nudgesStart(int tag);

double snapTimeForTempo(double bpm);
double tempoForSnapTime(double snapTime);
// The last tempo set on the tempo stepper ("SnapBpm"), 0 when never set.
double storedTempo();
void storeTempo(double bpm);

}  // namespace TrimSettings

#pragma once
#include "platform/lv2/Lv2Plugin.h"

#include <QString>

// The error codes a unit's creation reports, and the texts the alert gives them.
namespace IaaErrors {

inline constexpr int kDuplicateDescription = -66752;
inline constexpr int kUnsupportedType = -66751;
inline constexpr int kNodeInUse = -66750;
inline constexpr int kNodeInvalidated = -66749;
inline constexpr int kNotPermitted = -66748;
inline constexpr int kTimedOut = -66747;
inline constexpr int kInvalidFormat = -66746;
inline constexpr int kRestartApp = -1;

// Why a plugin would not load, as a code: gone since the scan -> invalidated; needs a
// feature or port kind we lack -> unsupported; refused by its own code -> invalid format
// (what a plugin refuses is almost always the rate or block size).
int codeForFailure(platform::lv2::Plugin::Failure failure);
// The text for a code, as the alert shows it after "Could not create IAA node. ".
QString iaaErrorText(int code);

}  // namespace IaaErrors

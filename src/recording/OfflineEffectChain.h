#pragma once
#include <QList>
#include <QPair>
#include <QString>
#include <cstdint>
#include <functional>

// Runs an audio file through up to three plugin effects, in order, with the same hosting the
// engine's effect slots use, in blocks of the engine's buffer. The result is a 32-bit float
// WAVE file at the source's rate with its channels (mono sources run as two equal channels).
namespace OfflineEffectChain {

inline constexpr int kMaxEffects = 3;
inline constexpr uint32_t kBlockFrames = 512;

struct Effect {
    QString uri;
    QList<QPair<QString, float>> settings;  // control port symbol, value
};

// False with the reason in error; the output is then not left behind.
bool processFile(const QString& in, const QString& out, const QList<Effect>& effects, QString* error,
                 const std::function<void(float)>& progress = {});

}  // namespace OfflineEffectChain

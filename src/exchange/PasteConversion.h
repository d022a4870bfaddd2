#pragma once
#include <QByteArray>
#include <utility>

// How pasted 16-bit samples meet the destination's channels. Mono spread over two channels
// is lowered to 0.707 of its level; two channels folded into one are halved each before the
// sum. Both truncate toward zero, as the programs we exchange with do.
namespace PasteConversion {

QByteArray monoToStereo(const QByteArray& mono);
QByteArray stereoToMono(const QByteArray& stereo);
// Left and right of interleaved stereo, each as mono.
std::pair<QByteArray, QByteArray> splitStereo(const QByteArray& stereo);

}  // namespace PasteConversion

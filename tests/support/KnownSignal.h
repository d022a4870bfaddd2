#pragma once
#include "platform/HostEngine.h"
#include "platform/HostNodes.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace testsupport {

// A signal whose every sample tells where it stands: noise made from a hash of the frame
// index, on a 15-bit grid that 16-, 24- and 32-bit files hold exactly. A recording of it is
// matched back to frame indices, so lost, doubled or reordered frames show.
float knownSample(uint64_t frame, int channel);
// A stereo float WAV at 44100 Hz holding the known signal's first `frames` frames.
bool writeKnownSignalWav(const QString& path, int64_t frames);

// Plays the known signal from another JACK client ("wlsignal"), optionally as a sine instead
// (for lossy codecs); its frame counter is the signal's index.
class KnownSignalClient {
public:
    KnownSignalClient();
    ~KnownSignalClient();
    bool start();
    QStringList outputPorts() const;
    uint64_t framesPlayed() const;
    // Cycles of the server this client was not run in (its port then holds the last cycle's
    // audio again for whoever reads it).
    uint64_t cyclesMissed() const;
    void setSine(double frequency, float amplitude);

private:
    class Channel;
    std::unique_ptr<platform::HostEngine> mEngine;
    std::shared_ptr<Channel> mChannel;
};

// How a recording (interleaved, `channels`, known signal at the same rate) lines up with the
// signal: where it starts, how many whole-run jumps forward it makes and whether any frame
// matched nothing or went backwards (doubled or reordered).
struct SignalMatch {
    bool found = false;
    uint64_t start = 0;        // signal index of the first frame
    int64_t frames = 0;
    int jumps = 0;             // forward discontinuities (cycles lost to server xruns)
    int64_t framesSkipped = 0;
    int repeats = 0;           // runs heard again (a cycle the source was not run in)
    int64_t framesRepeated = 0;
    // Stretches whose channels each follow the signal but from different places: a reader the
    // overloaded server ran late copied one channel of the source's port before the source
    // wrote its next cycle over it, and the other after.
    int torn = 0;
    int64_t framesTorn = 0;
    int64_t mismatchAt = -1;   // first frame that matched nothing, -1 when all did
    // At the mismatch: the frames there are silence, or repeat the signal from this many
    // frames back (0 when neither).
    bool silenceAtMismatch = false;
    int64_t repeatedFrom = 0;
};
// Torn stretches count as mismatches unless `allowTorn`: for a recorder whose own xruns can't
// be known (one killed mid-take).
SignalMatch matchKnownSignal(const std::vector<float>& interleaved, int channels, uint64_t searchLimit,
                             bool allowTorn = false);

}  // namespace testsupport

#pragma once
#include "platform/HostGraph.h"
#include "platform/HostNodes.h"
#include "platform/SpscRing.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace platform {

// The audio host on a JACK server: one client whose channels are summed to the main output
// ports. Hardware ports are connected automatically: capture to our inputs, our outputs to
// playback. Two more port pairs stand for inter-app routing: the receiver "Audio Input"
// (audio from other clients, which replaces the hardware input while connected) and the
// sender "Audio Output" (one channel's audio for other clients).
//
// All members are called on the main thread. Holding a client on the server stands for an
// active audio session; activating it stands for a running audio controller. Without a
// server the engine logs why and stays silent; when the server goes away it posts
// notifications::kInterruptionBegan and then reports the routing as unconnected, looks for the server every
// second, and posts notifications::kInterruptionEnded once a client is open again.
class HostEngine : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kReceiverName = "Audio Input";
    static constexpr const char* kReceiverTitle = "Recording Input";
    static constexpr const char* kSenderName = "Audio Output";
    static constexpr const char* kSenderTitle = "Playback Output";
    // MIDI from other programs (a keyboard, a sequencer) for hosted instruments.
    static constexpr const char* kMidiInName = "MIDI In";
    static constexpr size_t kMaxMidiEvents = 512;  // a cycle's events beyond these are dropped
    static constexpr double kDefaultSampleRate = 44100;
    // The settings key naming the JACK server to use (empty: the default server).
    static constexpr const char* kServerNameSetting = "JackServerName";

    explicit HostEngine(QString clientName, QObject* parent = nullptr);
    ~HostEngine() override;
    HostEngine(const HostEngine&) = delete;
    HostEngine& operator=(const HostEngine&) = delete;

    // Opens (true) or closes (false) the client; opening an open session answers true.
    bool setSessionActive(bool active);
    bool isSessionActive() const { return mClient != nullptr; }
    // Activates processing and the automatic connections; opens the session when needed.
    // On failure the reason is logged and also given in error.
    bool start(QString* error = nullptr);
    void stop();
    bool isRunning() const { return mRunning; }

    double sampleRate() const;  // the server's rate, kDefaultSampleRate without a server
    uint32_t bufferSize() const { return mBufferSize.load(std::memory_order_relaxed); }
    bool setPreferredBufferSize(uint32_t frames);
    int inputChannelCount() const { return mInputChannels; }  // hardware capture ports, at most 2
    // The aliases of the server's first capture port: they name the driver and device behind it.
    QStringList captureAliases() const;
    uint64_t xrunCount() const { return mXruns.load(std::memory_order_relaxed); }
    QString clientName() const;  // as the server knows it; empty without a session
    // The JACK server by name; empty is the default one (JACK_DEFAULT_SERVER, else "default").
    // A change with a session open moves the client there as if the old server went away:
    // play pauses and goes on on the new server, or once it appears. A session asked for
    // but without a server looks for the new one at once, and until it appears.
    void setServerName(const QString& name);
    const QString& serverName() const { return mServerName; }

    // Graph edits reach the audio thread through the message exchange; objects removed stay
    // alive until the audio thread has let go of them.
    void addChannel(std::shared_ptr<HostChannel> channel);
    void removeChannel(const HostChannel* channel);
    bool hasChannel(const HostChannel* channel) const { return mGraph.hasChannel(channel); }
    void addFilter(std::shared_ptr<HostFilter> filter, const HostChannel* channel);
    void removeFilter(const HostFilter* filter, const HostChannel* channel);
    void addOutputReceiver(std::shared_ptr<HostReceiver> receiver, const HostChannel* channel);
    void removeOutputReceiver(const HostReceiver* receiver, const HostChannel* channel);
    void addInputReceiver(std::shared_ptr<HostInputReceiver> receiver);
    void removeInputReceiver(const HostInputReceiver* receiver);
    void setSenderChannel(const HostChannel* channel);

    // Graph edits made while a batch lives reach the audio thread together, as one graph,
    // when it commits (or ends), so no cycle ever renders half of a rebuild.
    class Batch {
    public:
        explicit Batch(HostEngine& engine) : mEngine(engine) { ++mEngine.mBatchDepth; }
        ~Batch() { commit(); }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        void commit();

    private:
        HostEngine& mEngine;
        bool mDone = false;
    };

    // Runs block on the audio thread at the start of a cycle (here and now when the engine
    // is not running), then response on the main thread. Either may be empty.
    void performAsync(std::function<void()> block, std::function<void()> response);

    // Connection state of the inter-app ports: connected to any client but the hardware.
    bool receiverConnected() const { return mReceiverConnected.load(std::memory_order_relaxed); }
    bool senderConnected() const { return mSenderConnected; }
    bool connectedToSelf() const { return mConnectedToSelf; }
    // Full names of our ports, for routing by other code and by tests.
    QStringList receiverPortNames() const;
    // The ports of other programs feeding the receiver now (hardware left out), in order.
    QStringList receiverSources() const;
    QStringList senderPortNames() const;
    QStringList outputPortNames() const;
    QString midiInputPortName() const;

    std::function<void(bool running)> onRunningChanged;
    // Emitted on the main thread when the server's buffer size or rate has changed, by
    // whoever changed it.
signals:
    void bufferSizeChanged(uint32_t frames);
    void sampleRateChanged(double rate);

public:
    std::function<void()> onConnectionsChanged;
    std::function<void(double sampleRate)> onSampleRateChanged;
    // Called on the server's notification thread as its block length changes, before cycles
    // of the new length run; set it before the session opens. Whatever it touches must be
    // safe from that thread.
    std::function<void(uint32_t frames)> onBufferSizeChanging;

private:
    struct Message {
        std::function<void()> block;
        std::function<void()> response;
    };
    struct Ports;

    bool openClient(bool quiet);
    void closeClient();
    void connectHardware();
    void publishGraph();
    void pump();
    void runPendingHere();
    void serverLost();
    void leaveServer();
    void retryServer();
    void updateConnections();
    void setRunning(bool running);

    static int process(uint32_t frames, void* self);
    int processCycle(uint32_t frames);

    QString mName;
    QString mServerName;
    void* mClient = nullptr;  // jack_client_t
    std::unique_ptr<Ports> mPorts;
    bool mRunning = false;
    bool mReportedNoServer = false;  // said once until a server is found
    bool mSessionWanted = false;     // asked to be open, whether or not a server was found
    bool mInterrupted = false;       // the server went away and its return is not yet posted
    int mInputChannels = 0;
    double mLastRate = kDefaultSampleRate;
    uint32_t mLastBufferSize = 0;

    int mBatchDepth = 0;
    bool mBatchDirty = false;
    HostGraph mGraph;                  // the main thread's copy
    HostGraph* mAudioGraph = nullptr;  // owned; only the audio thread reads it while running
    std::array<std::vector<float>, kHostChannels> mScratch;
    std::array<HostMidiEvent, kMaxMidiEvents> mMidi{};

    SpscRing<Message*> mToAudio;
    SpscRing<Message*> mFromAudio;
    size_t mInFlight = 0;

    std::atomic<uint32_t> mBufferSize{0};
    std::atomic<uint32_t> mSampleRate{0};
    std::atomic<uint64_t> mXruns{0};
    std::atomic<bool> mServerLost{false};
    std::atomic<bool> mConnectionsDirty{false};
    std::atomic<bool> mReceiverConnected{false};
    bool mSenderConnected = false;
    bool mConnectedToSelf = false;

    QTimer mPump;
    QTimer mRetry;
};

}  // namespace platform

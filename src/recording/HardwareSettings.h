#pragma once
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <array>
#include <cstdint>
#include <memory>

namespace platform {
class CaptureVolume;
class HostEngine;
}  // namespace platform

// The hardware settings as they act on the audio server: its buffer size (asked of the
// server, which may keep another one), its sample rate (which a JACK client can not change,
// so a different rate is refused), the capture volume of the sound card behind it, and
// measurement mode (a JACK input is never processed, so there is nothing to switch).
// The preferred values are the program's, kept while it runs. Main thread only.
class HardwareSettings : public QObject {
    Q_OBJECT
public:
    static constexpr std::array<uint32_t, 5> kBufferChoices{64, 128, 256, 512, 1024};
    static constexpr std::array<int, 4> kRateChoices{96000, 48000, 44100, 22050};
    // How long a buffer request may take before the size the server then keeps is its answer:
    // servers apply the change after the request returns, and another program may undo it.
    static constexpr int kBufferSettleMs = 1000;

    // engine may be null (no audio engine): every row then says so.
    explicit HardwareSettings(platform::HostEngine* engine, QObject* parent = nullptr);
    ~HardwareSettings() override;

    bool hasServer() const;

    uint32_t currentBufferFrames() const;
    // What the program asked for; 0 until it asks.
    static uint32_t preferredBufferFrames();
    // The server runs with a size other than the one asked for (another program set it).
    bool bufferIsForeign() const;
    // Asks the server for frames; bufferRequestEnded tells after kBufferSettleMs what it kept.
    void setPreferredBufferFrames(uint32_t frames);
    bool bufferRequestPending() const { return mSettle.isActive(); }

    double currentSampleRate() const;
    // The rate asked for; 0 until asked.
    static double preferredSampleRate();
    // Asks for the rate; false when the server keeps its own.
    bool setPreferredSampleRate(double rate);

    bool inputGainAvailable() const { return mCapture != nullptr; }
    // Why there is no input gain, for the row's subtitle.
    QString inputGainUnavailableReason() const { return mCaptureReason; }
    // The card and control the gain acts on ("hw:PCH, Capture").
    QString inputGainSource() const;
    float inputGain() const;
    bool setInputGain(float gain);

    // A JACK input carries the sound card's samples untouched: measurement mode is always on.
    static bool measurementModeSwitchable() { return false; }
    static bool measurementModeOn() { return true; }

    // For tests: forgets what was asked for.
    static void resetPreferences();

signals:
    void bufferSizeChanged();
    void sampleRateChanged();
    // A buffer request ended: took is false when the server runs with another size.
    void bufferRequestEnded(bool took);

private:
    void openCaptureVolume();

    QPointer<platform::HostEngine> mEngine;
    std::unique_ptr<platform::CaptureVolume> mCapture;
    QString mCaptureReason;
    QTimer mSettle;
};

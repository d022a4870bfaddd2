#pragma once
#include <QString>
#include <QStringList>
#include <memory>

namespace platform {

// The capture volume of a sound card, through the ALSA mixer: the input gain of the card that
// feeds the audio server. Main thread only.
class CaptureVolume {
public:
    ~CaptureVolume();
    CaptureVolume(const CaptureVolume&) = delete;
    CaptureVolume& operator=(const CaptureVolume&) = delete;

    // The mixer of an ALSA device ("hw:PCH", "hw:1,0", "default"); empty, with the reason
    // for the user in reason, when the device has no capture volume.
    static std::unique_ptr<CaptureVolume> open(const QString& device, QString* reason = nullptr);

    // The ALSA device behind an audio server's capture port, from the port's aliases
    // ("alsa_pcm:hw:PCH:out1" names "hw:PCH"); empty when no alias names an ALSA device.
    static QString deviceFromAliases(const QStringList& aliases);

    // 0 to 1 over the control's range; another program may change it at any time.
    float value() const;
    bool setValue(float value);
    QString device() const { return mDevice; }
    QString controlName() const { return mControl; }

private:
    struct Mixer;
    CaptureVolume(std::unique_ptr<Mixer> mixer, QString device, QString control);

    std::unique_ptr<Mixer> mMixer;
    QString mDevice;
    QString mControl;
};

}  // namespace platform

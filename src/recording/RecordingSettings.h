#pragma once
#include <QString>

// The "recording.*" settings as one value, read again at the moment a recording starts so a
// change applies to the next take. A stored value out of range answers as the default.
struct RecordingSettings {
    static constexpr int kDefaultFormat = 0;
    static constexpr int kDefaultChannels = 2;
    static constexpr int kDefaultBits = 16;
    static constexpr int kDefaultBitRate = 128000;
    static constexpr int kDefaultSampleRate = 44100;

    int format = kDefaultFormat;  // recFormat 0..4
    int channels = kDefaultChannels;  // 1 or 2
    int bits = kDefaultBits;          // 16, 24 or 32
    int bitrate = kDefaultBitRate;    // bits per second, compressed formats
    int samplerate = kDefaultSampleRate;
    bool normalize = true;
    bool autoopen = true;
    bool abmonitor = true;

    // The keys, as they are stored.
    static const QString kFormatKey;
    static const QString kChannelsKey;
    static const QString kBitsKey;
    static const QString kBitRateKey;
    static const QString kSampleRateKey;
    static const QString kNormalizeKey;
    static const QString kAutoOpenKey;
    static const QString kAbMonitorKey;

    // The stored values, each checked; out-of-range ones are logged and replaced by defaults.
    static RecordingSettings current();
    // Stores every field (the settings screen stores single keys directly).
    void store() const;

    // The info line of the recorder: "%@ %@ %d Hz • Normalize: %@".
    QString infoText() const;
    // The bit rate the encoder is asked for: 128000 for 0, at most 4 x the rate below
    // 40 kHz, halved for one channel.
    int encodeBitRate() const;
    // Bytes the take grows by per second (an upper bound for the lossless codec).
    double bytesPerSecond() const;
};

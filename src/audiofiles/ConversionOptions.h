#pragma once
#include <QVariantMap>

// What a conversion produces; stored under "ConverterFormat" with the keys below.
struct ConversionOptions {
    enum MonoSource { Mix = 0, Left = 1, Right = 2 };

    int format = 0;      // recFormat 0..4
    int channels = 2;    // 2 or 1
    int stereomono = Mix;
    int bits = 16;       // PCM and ALAC
    int samplerate = 44100;
    int bitrate = 128000;  // AAC; 0 means 128000

    static ConversionOptions fromMap(const QVariantMap& map);
    QVariantMap toMap() const;

    // The stored "ConverterFormat" (its registered default until one is saved).
    static ConversionOptions stored();
    void store() const;
};

// Settings come from a file anyone can edit: whatever it holds, readers get usable values.
#include "audiofiles/ConversionOptions.h"
#include "platform/Settings.h"
#include "shell/Startup.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(SettingsFuzz, EveryKeyFallsBackToItsDefaultOnBadValuesAndConvertKeepsWorking)
{
    TempTree tree;
    Startup::registerDefaults();
    // Wrong for every key of the table: wrong types, out of range, huge.
    const QVariantList bad = {QStringLiteral("abc"), -1, 1e300, QStringLiteral("nan"), QVariantList{1, 2},
                              QVariantMap{{QStringLiteral("format"), 100000}}, QStringLiteral(""), 1e18};
    // Text keys (names, folders) take any text: the file gives every value back as text.
    const QVariantList badText = {QVariantList{1, 2}, QVariantMap{{QStringLiteral("format"), 100000}}};
    for (const QString& key : Startup::settingKeys()) {
        const QVariant fallback = platform::Settings::value(key);
        for (const QVariant& value : fallback.typeId() == QMetaType::QString ? badText : bad) {
            platform::Settings::setValue(key, value);
            platform::Settings::sync();
            platform::Settings::reload();
            LogCapture log;
            EXPECT_EQ(platform::Settings::value(key), fallback) << key.toStdString() << " " << value.toString().toStdString();
            platform::Settings::value(key);
            EXPECT_EQ(log.lines().filter(QStringLiteral("Ignoring the stored setting %1").arg(key)).size(), 1);
        }
        platform::Settings::remove(key);
    }

    // A damaged conversion format never reaches the encoder: convert uses the default (WAVE).
    const QString src = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(src, 2, 44100, 44100));
    const QList<QVariantMap> formats = {
        {{"format", 100000}}, {{"format", 5}}, {{"format", 99}}, {{"format", -1}}, {{"bits", 12}},
        {{"samplerate", 0}},  {{"channels", 40}}, {{"format", "3"}, {"samplerate", 1e300}}, {{"stereomono", 7}}};
    for (const QVariantMap& format : formats) {
        platform::Settings::setValue(QStringLiteral("ConverterFormat"), format);
        platform::Settings::sync();
        const RunResult r = runProgram("wavelocker-tool", {"convert", src, tree.path("out")});
        EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
        EXPECT_TRUE(r.err.contains("Ignoring the stored setting ConverterFormat")) << r.err.toStdString();
        EXPECT_EQ(probe(tree.path("out"))["codec_name"], "pcm_s16le");
        QFile::remove(tree.path("out"));
    }
    // A good value is used as stored.
    platform::Settings::setValue(QStringLiteral("ConverterFormat"), QVariantMap{{"format", 2}, {"bits", 24}});
    platform::Settings::reload();
    EXPECT_EQ(ConversionOptions::stored().format, 2);
    EXPECT_EQ(ConversionOptions::stored().bits, 24);
}

#include "library/MusicImport.h"
#include "platform/Locations.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QtEndian>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
bool makeSong(const QString& path, const QString& title, const QString& artist, int seconds, int channels)
{
    QDir().mkpath(QFileInfo(path).path());
    QStringList args = {"-v", "quiet", "-y", "-f", "lavfi", "-i", QStringLiteral("sine=frequency=440:duration=%1").arg(seconds),
                        "-ac", QString::number(channels), "-ar", "22050"};
    if (!title.isEmpty())
        args << "-metadata" << "title=" + title;
    if (!artist.isEmpty())
        args << "-metadata" << "artist=" + artist;
    args << path;
    return QProcess::execute(QStringLiteral("ffmpeg"), args) == 0;
}
}  // namespace

TEST(MusicImport, ListsTaggedSongsAndDecodesToStereoWav)
{
    TempTree tree;
    const QString music = tree.path(QStringLiteral("Music"));
    ASSERT_TRUE(makeSong(music + QStringLiteral("/b.mp3"), QStringLiteral("AC/DC Song"), QStringLiteral("Band"), 2, 1));
    ASSERT_TRUE(makeSong(music + QStringLiteral("/Album/a.ogg"), QStringLiteral("Intro"), QStringLiteral("Alpha"), 1, 2));
    ASSERT_TRUE(makeSong(music + QStringLiteral("/Untitled.flac"), QString(), QString(), 1, 2));
    ASSERT_TRUE(writeFile(music + QStringLiteral("/notes.txt"), "not music"));

    const std::atomic<bool> stop{true};
    EXPECT_FALSE(MusicLibrary::tracks(music, &stop));  // a cancelled scan answers nothing
    const QList<MusicTrack> tracks = MusicLibrary::tracks(music).value();
    ASSERT_EQ(tracks.size(), 3);
    EXPECT_EQ(tracks[0].title, QStringLiteral("Untitled"));
    EXPECT_EQ(tracks[1].title, QStringLiteral("Intro"));
    EXPECT_EQ(tracks[1].artist, QStringLiteral("Alpha"));
    EXPECT_EQ(tracks[2].title, QStringLiteral("AC/DC Song"));
    EXPECT_NEAR(tracks[2].duration, 2.0, 0.1);

    const QString lib = tree.library();
    MusicImport import;
    QList<float> progress;
    QStringList done;
    MusicImport::Callbacks callbacks;
    callbacks.progress = [&](float f) { progress << f; };
    callbacks.finished = [&](const QString& target) { done << target; };
    callbacks.failed = [&](const QString& message) { done << "failed: " + message; };
    import.start(tracks[2], lib, callbacks);
    ASSERT_TRUE(waitUntil([&] { return done.size() == 1; }));
    EXPECT_EQ(done[0], lib + QStringLiteral("/AC_DC Song - Band.wav"));
    ASSERT_FALSE(progress.isEmpty());
    EXPECT_NEAR(progress.last(), 1.0f, 0.05f);

    const QByteArray wav = readFile(done[0]);
    ASSERT_GT(wav.size(), 44);
    EXPECT_EQ(wav.left(4), "RIFF");
    EXPECT_EQ(qFromLittleEndian<quint16>(wav.constData() + 22), 2);
    EXPECT_EQ(qFromLittleEndian<quint32>(wav.constData() + 24), 44100u);
    EXPECT_EQ(qFromLittleEndian<quint16>(wav.constData() + 34), 16);
    const quint32 dataBytes = qFromLittleEndian<quint32>(wav.constData() + 40);
    EXPECT_EQ(dataBytes, quint32(wav.size() - 44));
    EXPECT_NEAR(double(dataBytes) / 176400.0, 2.0, 0.1);
    // The mono song is heard on both sides, and it is not silence.
    const qint16* samples = reinterpret_cast<const qint16*>(wav.constData() + 44);
    int loud = 0;
    for (quint32 i = 0; i < dataBytes / 4; ++i) {
        EXPECT_EQ(samples[2 * i], samples[2 * i + 1]);
        loud += std::abs(samples[2 * i]) > 1000;
    }
    EXPECT_GT(loud, 10000);

    // The same song again gets a free name; a cancelled import leaves nothing.
    import.start(tracks[2], lib, callbacks);
    ASSERT_TRUE(waitUntil([&] { return done.size() == 2; }));
    EXPECT_EQ(done[1], lib + QStringLiteral("/AC_DC Song - Band(1).wav"));

    bool cancelled = false;
    callbacks.cancelled = [&] { cancelled = true; };
    import.start(tracks[1], lib, callbacks);
    import.cancelMusicImport();
    ASSERT_TRUE(waitUntil([&] { return cancelled || done.size() == 3; }));
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/Intro - Alpha.wav")));
    EXPECT_FALSE(QFileInfo::exists(platform::Locations::tempDir() + QStringLiteral("/temp-import")));

    MusicTrack gone{music + QStringLiteral("/gone.mp3"), QStringLiteral("Gone"), QStringLiteral("X"), 1};
    import.start(gone, lib, callbacks);
    ASSERT_TRUE(waitUntil([&] { return done.size() == 3; }));
    EXPECT_EQ(done[2], QStringLiteral("failed: The song is not available on this computer"));
}

#include "audiofiles/editor/EditorTexts.h"
#include "audiofiles/editor/OutputNames.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>

using namespace testsupport;

TEST(EditorNames, TrimConvertAndNormalizeNames)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString a = lib + "/a.wav";
    EXPECT_EQ(OutputNames::trimmedPath(a), lib + "/a-trimmed.wav");
    writeFile(lib + "/a-trimmed.wav", "x");
    EXPECT_EQ(OutputNames::trimmedPath(a), lib + "/a-trimmed(1).wav");
    writeFile(lib + "/a-trimmed(1).wav", "x");
    EXPECT_EQ(OutputNames::trimmedPath(a), lib + "/a-trimmed(2).wav");
    // Trimming a trimmed file does not pile up endings.
    EXPECT_EQ(OutputNames::trimmedPath(lib + "/a-trimmed(1).wav"), lib + "/a-trimmed(2).wav");
    EXPECT_EQ(OutputNames::trimmedPath(lib + "/b-trimmed(7).aif"), lib + "/b-trimmed.aif");
    EXPECT_EQ(OutputNames::trimmedPath(lib + "/c-trimmedx.wav"), lib + "/c-trimmedx-trimmed.wav");
    EXPECT_EQ(OutputNames::trimmedPath(lib + "/take.1.wav"), lib + "/take.1-trimmed.wav");

    // Convert takes the target format's extension: 3 is M4A AAC.
    EXPECT_EQ(OutputNames::convertedPath(a, 3), lib + "/a-converted.m4a");
    EXPECT_EQ(OutputNames::convertedPath(lib + "/a-converted(3).m4a", 1), lib + "/a-converted.aif");
    writeFile(lib + "/a-converted.aif", "x");
    EXPECT_EQ(OutputNames::convertedPath(a, 1), lib + "/a-converted(1).aif");

    // Normalize never looks for a free name.
    writeFile(lib + "/a-normalized.wav", "x");
    EXPECT_EQ(OutputNames::normalizedPath(a), lib + "/a-normalized.wav");
    EXPECT_EQ(OutputNames::normalizedPath(lib + "/song.mp3"), lib + "/song-normalized.mp3");
}

TEST(EditorNames, TextsAndTempo)
{
    EXPECT_EQ(EditorTexts::fadeText(0), "OFF");
    EXPECT_EQ(EditorTexts::fadeText(0.25), "250 ms");
    EXPECT_EQ(EditorTexts::fadeText(0.003), "3 ms");
    EXPECT_EQ(EditorTexts::fadeText(1.5), "1.500 s");
    EXPECT_EQ(EditorTexts::timeText(83.25), "01:23.250");
    EXPECT_EQ(EditorTexts::playTimeText(83.25), "01:23.25");
    EXPECT_EQ(EditorTexts::timeText(0), "00:00.000");
    EXPECT_EQ(EditorTexts::lengthText(1.5, 2.5, false, 0.5), "00:01.000");
    EXPECT_EQ(EditorTexts::lengthText(1.5, 2.5, true, 0.5), "2 beats");
    EXPECT_EQ(EditorTexts::lengthText(0, 0.75, true, 0.5), "1.5 beats");

    EXPECT_EQ(EditorTexts::escapeString("My Song (1).wav"), "My%20Song%20%281%29.wav");
    EXPECT_EQ(EditorTexts::escapeString("!*'\";:@&=+$,/?%#[]"),
              "%21%2A%27%22%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D");
    EXPECT_EQ(EditorTexts::escapeString("Grüße"), "Gr%C3%BC%C3%9Fe");

    EXPECT_EQ(EditorTexts::guessBpm("/lib/Loop 128bpm.wav"), 128);
    EXPECT_EQ(EditorTexts::guessBpm("/lib/beat_90-BPM.wav"), 90);
    EXPECT_EQ(EditorTexts::guessBpm("/lib/take.wav"), 120);
    EXPECT_DOUBLE_EQ(EditorTexts::initialSnapTime("/lib/Loop 128bpm.wav", 0), 0.46875);
    EXPECT_DOUBLE_EQ(EditorTexts::initialSnapTime("/lib/take.wav", 0), 0.5);
    // A stored tempo is used only when the name has none.
    EXPECT_DOUBLE_EQ(EditorTexts::initialSnapTime("/lib/take.wav", 100), 0.6);
    EXPECT_DOUBLE_EQ(EditorTexts::initialSnapTime("/lib/Loop 128bpm.wav", 100), 0.46875);
}

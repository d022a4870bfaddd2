#include "cloud/ContentHasher.h"

#include "support/TempTree.h"

#include <gtest/gtest.h>

using cloud::ContentHasher;

namespace {
QString hashInPieces(const QByteArray& data, int piece)
{
    ContentHasher hasher;
    for (qsizetype at = 0; at < data.size(); at += piece)
        hasher.addData(data.constData() + at, qMin<qsizetype>(piece, data.size() - at));
    return hasher.result();
}

QByteArray ramp(qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i)
        bytes[i] = char(i & 0xff);
    return bytes;
}
}  // namespace

// Known answers of Dropbox's algorithm, computed independently: a short text, exactly one
// block, one block and one byte, several blocks; fed whole and in pieces that straddle blocks.
TEST(ContentHasherTest, MatchesKnownHashesWhateverThePieces)
{
    const qint64 block = ContentHasher::kBlockSize;
    const QByteArray oneBlockPlus = ramp(block) + QByteArray(1, char(0xff));
    const struct {
        QByteArray data;
        const char* hash;
    } cases[] = {
        {"hello rdrop2", "1aa2b7623dfff520c4abdc1227d10bc4e229b74005b66b3458345830e556f4de"},
        {ramp(block), "894bbb52d1212d6bcbe9967f1a2169138c4d4af0c8dfbaeae86cd1d3f0c03faf"},
        {oneBlockPlus, "9149387a91f71c7c2149b8427d15526b71c1a38d6c6f999ad71486a2ce788d57"},
        {ramp(block * 7 / 2), "f61d3ae93fa4f7646d37949fc0885141bf682faa9a130896b93459c650335d0f"},
        // No block at all: the hash of nothing.
        {QByteArray(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(hashInPieces(c.data, 1 << 20), QLatin1String(c.hash)) << c.data.size();
        EXPECT_EQ(hashInPieces(c.data, 999331), QLatin1String(c.hash)) << c.data.size();
    }
    testsupport::TempTree tree;
    ASSERT_TRUE(testsupport::writeFile(tree.path("f"), oneBlockPlus));
    EXPECT_EQ(ContentHasher::hashOfFile(tree.path("f")), QLatin1String(cases[2].hash));
    EXPECT_TRUE(ContentHasher::hashOfFile(tree.path("missing")).isEmpty());
}

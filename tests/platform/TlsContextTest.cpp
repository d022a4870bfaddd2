#include "platform/TlsContext.h"
#include "support/TempTree.h"

#include <QFile>
#include <gtest/gtest.h>

using platform::TlsContext;
using testsupport::TempTree;

TEST(TlsContext, KeepsItsCertificateUntilAnAddressChangesAndMendsAMismatchedKey)
{
    TempTree tree;
    const QString cert = tree.path("tls/certificate.pem");
    const QString key = tree.path("tls/key.pem");
    const QStringList here = {"studio", "studio.local", "127.0.0.1", "192.168.1.20"};

    const auto first = TlsContext::loadOrCreate(cert, key, here);
    ASSERT_NE(first, nullptr);
    const QByteArray certBytes = testsupport::readFile(cert);
    const auto again = TlsContext::loadOrCreate(cert, key, here);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->fingerprint(), first->fingerprint());
    EXPECT_EQ(testsupport::readFile(cert), certBytes);  // not rewritten

    // The computer moved to another network: browsers would refuse the old names.
    const QStringList moved = {"studio", "studio.local", "127.0.0.1", "10.0.0.7"};
    const auto remade = TlsContext::loadOrCreate(cert, key, moved);
    ASSERT_NE(remade, nullptr);
    EXPECT_NE(remade->fingerprint(), first->fingerprint());
    EXPECT_EQ(TlsContext::loadOrCreate(cert, key, moved)->fingerprint(), remade->fingerprint());

    // A key that is not the certificate's (a write cut off between the two) is made again.
    ASSERT_NE(TlsContext::loadOrCreate(tree.path("other/c.pem"), tree.path("other/k.pem"), moved), nullptr);
    ASSERT_TRUE(QFile::remove(key));
    ASSERT_TRUE(QFile::copy(tree.path("other/k.pem"), key));
    const auto mended = TlsContext::loadOrCreate(cert, key, moved);
    ASSERT_NE(mended, nullptr);
    EXPECT_NE(mended->fingerprint(), remade->fingerprint());
}

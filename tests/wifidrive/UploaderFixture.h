#pragma once
#include "HttpTestClient.h"
#include "support/TempTree.h"
#include "wifidrive/GCDWebUploaderDelegate.h"
#include "wifidrive/MyWebUploader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>

namespace testsupport {

// Remembers every callback as "kind|path[|path]".
class RecordingDelegate : public GCDWebUploaderDelegate {
public:
    QStringList calls() const
    {
        std::lock_guard lock(mMutex);
        return mCalls;
    }
    void webServerDidStart(GCDWebServer*) override { add(QStringLiteral("start")); }
    void webServerDidStop(GCDWebServer*) override { add(QStringLiteral("stop")); }
    void webServerDidCompleteBonjourRegistration(GCDWebServer*) override { add(QStringLiteral("bonjour")); }
    void webUploaderDidDownloadFileAtPath(GCDWebUploader*, const QString& p) override { add("download|" + p); }
    void webUploaderDidUploadFileAtPath(GCDWebUploader*, const QString& p) override { add("upload|" + p); }
    void webUploaderDidMoveItemFromPath(GCDWebUploader*, const QString& a, const QString& b) override
    {
        add("move|" + a + "|" + b);
    }
    void webUploaderDidDeleteItemAtPath(GCDWebUploader*, const QString& p) override { add("delete|" + p); }
    void webUploaderDidCreateDirectoryAtPath(GCDWebUploader*, const QString& p) override { add("create|" + p); }

private:
    void add(const QString& call)
    {
        std::lock_guard lock(mMutex);
        mCalls << call;
    }
    mutable std::mutex mMutex;
    QStringList mCalls;
};

// A library with the file-sharing link, served by the app's uploader on 127.0.0.1.
template <class Uploader = MyWebUploader>
class UploaderFixtureT : public ::testing::Test {
protected:
    void SetUp() override
    {
        lib = tree.library();
        QDir().mkpath(privateDocs());
        QFile::link(privateDocs(), lib + "/Desktop File Sharing");
        uploader = std::make_unique<Uploader>(lib);
        uploader->setDelegate(&delegate);
        uploader->setBindAddress(QStringLiteral("127.0.0.1"));
    }
    void start()
    {
        ASSERT_TRUE(uploader->startWithPort(0, QString()));
        client = std::make_unique<HttpTestClient>(uploader->port());
    }
    void TearDown() override { uploader.reset(); }

    QString privateDocs() const { return tree.path("data/com.orvenic.Wavelocker/Documents"); }
    QString uploadFolder() const { return QFileInfo(lib).path() + "/.wavelocker-uploads"; }
    QStringList leftovers() const
    {
        return QDir(uploadFolder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    // The size of the largest file of no name that this process holds open in the spool
    // folder (an upload being received), or -1 when it holds none with bytes in it: files
    // made ahead for the next uploads are empty.
    qint64 receiving() const
    {
        const QString spool = QFileInfo(uploadFolder()).canonicalFilePath() + QStringLiteral("/#");
        qint64 largest = -1;
        for (const QFileInfo& fd : QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
            if (fd.symLinkTarget().startsWith(spool))
                largest = std::max(largest, QFileInfo(fd.absoluteFilePath()).size());
        return largest > 0 ? largest : -1;
    }
    bool waitForCall(const QString& call) { return waitUntil([&] { return delegate.calls().contains(call); }); }

    TempTree tree;
    QString lib;
    RecordingDelegate delegate;
    std::unique_ptr<Uploader> uploader;
    std::unique_ptr<HttpTestClient> client;
};

using UploaderFixture = UploaderFixtureT<>;

}  // namespace testsupport

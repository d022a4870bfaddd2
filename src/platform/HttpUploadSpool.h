#pragma once
#include "platform/HttpRequest.h"

#include <QByteArray>
#include <QString>
#include <memory>
#include <vector>

class PartFile;

namespace platform {

class SpareFiles;

// Collects a POST body part by part: fields into memory up to a small cap, file parts into
// part files of the upload folder. A failed write (disk full) drops that file but keeps
// reading, so the client still gets an answer.
class HttpUploadSpool {
public:
    static constexpr qsizetype kMaxFieldBytes = 64 * 1024;
    static constexpr int kMaxFileParts = 32;
    static constexpr qsizetype kFlushBytes = 1 << 20;
    static constexpr qsizetype kDirectBytes = 16 * 1024;  // written without gathering

    // quota: the most file bytes one request may bring (0: no limit); spares: files of no name
    // made ahead in uploadFolder, taken before making one.
    explicit HttpUploadSpool(QString uploadFolder, qint64 quota = 0, SpareFiles* spares = nullptr);
    ~HttpUploadSpool();  // removes every temporary file not handed over
    HttpUploadSpool(const HttpUploadSpool&) = delete;
    HttpUploadSpool& operator=(const HttpUploadSpool&) = delete;

    // A part begins: a file part when fileName is not empty. False when over the limits.
    bool beginPart(const QString& name, const QString& fileName, const QString& contentType);
    bool write(const char* data, size_t length);
    // A url-encoded body arrives as one field list.
    bool writeUrlEncoded(const char* data, size_t length);

    bool overQuota() const { return mOverQuota; }

    // Ends the last part and moves fields and files into request.
    void finish(HttpRequest& request);

    static QMap<QString, QString> parseUrlEncoded(const QByteArray& text);

private:
    void endPart();
    void flush();
    void writeOut(const char* data, size_t length);

    QString mFolder;
    qint64 mQuota = 0;
    SpareFiles* mSpares = nullptr;
    qint64 mFileBytes = 0;
    bool mOverQuota = false;
    QString mFieldName;
    QByteArray mFieldValue;
    bool mInField = false;
    std::unique_ptr<PartFile> mPart;  // the file part being received, when it has a name
    std::shared_ptr<UnnamedFile> mUnnamed;  // or without one
    int mFd = -1;                      // where its bytes go
    std::vector<std::unique_ptr<PartFile>> mHeld;  // received ones, locked until the request ends
    QByteArray mPending;  // file bytes not yet written
    UploadedFile mCurrent;
    bool mInFile = false;
    QByteArray mUrlEncoded;
    QMap<QString, QString> mFields;
    std::vector<UploadedFile> mFiles;
};

}  // namespace platform

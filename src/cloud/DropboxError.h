#pragma once
#include <QJsonObject>
#include <QString>

namespace cloud {

// Why a Dropbox call failed. Route errors (HTTP 409) keep Dropbox's own error object.
struct DropboxError {
    enum class Kind {
        None,
        Network,       // no answer, or the connection broke (after the retries)
        NotLinked,     // no account, or its sign-in was refused or revoked: link again
        Route,         // Dropbox refused the request for a reason of its own (tag says which)
        RateLimited,   // still too many requests after the retries
        Server,        // 5xx after the retries, or another unexpected status
        BadInput,      // 400: the request was not accepted as written
        BadResponse,   // an answer that could not be read
        HashMismatch,  // the bytes did not match Dropbox's content hash
        Cancelled,
        Local,         // reading or writing a local file
    };

    Kind kind = Kind::None;
    int status = 0;
    QString tag;      // the error's first tag ("path", "reset", "incorrect_offset", ...)
    QString summary;  // Dropbox's error_summary, or the text of the answer
    QJsonObject error;

    explicit operator bool() const { return kind != Kind::None; }
    bool cancelled() const { return kind == Kind::Cancelled; }
    // One line for a person; never holds a token.
    QString description() const;

    static DropboxError make(Kind kind, const QString& summary, int status = 0)
    {
        DropboxError e;
        e.kind = kind;
        e.summary = summary;
        e.status = status;
        return e;
    }
};

}  // namespace cloud

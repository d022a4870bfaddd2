#pragma once
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <utility>

namespace platform {

// One HTTP exchange that moves bulk data: the request's body streams from a range of a file
// and a successful answer's body streams into a file, so memory stays the same whatever the
// size. It runs through libcurl (opened the first time a transfer needs it) on the background
// pool; progress and the result come on the main thread. Connections are kept for the next
// exchange to the same host.
class HttpTransfer : public QObject {
    Q_OBJECT
public:
    using Header = std::pair<QByteArray, QByteArray>;

    struct Request {
        QUrl url;
        QList<Header> headers;  // a header with an empty value is left out of the request
        // The body: bodyLength bytes of bodyFile from bodyOffset (no body when bodyFile is empty).
        QString bodyFile;
        qint64 bodyOffset = 0;
        qint64 bodyLength = 0;
        // A 2xx answer's body goes into this existing file, emptied first; other answers are
        // kept in Result::body.
        QString answerFile;
        // Each piece of the answer written to answerFile, in order; on the worker thread.
        std::function<void(const char* data, qint64 size)> answerTap;
        // Nothing sent or received for this long ends the exchange.
        int stallSeconds = 60;
    };

    struct Result {
        int status = 0;        // 0 when no answer came
        QList<Header> headers;  // of the answer, names as sent
        QByteArray body;        // an answer not written to answerFile (its first MiB at most)
        qint64 answerBytes = 0;  // written to answerFile
        QString error;           // why the exchange did not complete; empty when it did
        bool cutOff = false;     // the answer ended before the length it announced
        bool localError = false;  // bodyFile or answerFile failed (error tells which)
        QString reason;           // the system's words for that failure ("No space left on device")
        bool cancelled = false;
        // The first header of that name, compared without case; empty when missing.
        QByteArray header(const QByteArray& name) const;
        bool hasHeader(const QByteArray& name) const;
    };

    // done: bytes sent of the body (receiving: received of the answer) and the whole, when known.
    using Progress = std::function<void(qint64 done, qint64 total)>;
    using Done = std::function<void(const Result&)>;

    explicit HttpTransfer(QObject* parent = nullptr);
    // A running exchange is stopped; its result is not given.
    ~HttpTransfer() override;

    // POSTs request. Returns false (and gives no result) while another exchange of this object
    // runs. progress comes at most every few tens of milliseconds.
    bool start(Request request, Progress progress, Done done);
    // The running exchange stops soon; its result has cancelled set.
    void cancel();
    bool isRunning() const { return bool(mState); }

    // Whether libcurl could be opened (the reason is logged once when not).
    static bool isAvailable();

    // Shared by this object and the worker running its exchange; defined where it is used.
    struct State;

private:
    std::shared_ptr<State> mState;
};

}  // namespace platform

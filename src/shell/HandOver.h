#pragma once
#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// What a later `wavelocker` asks of the running one: URLs (file paths already made absolute
// file URLs) and the identifier of the program that opened them; answered with one yes or no
// per URL. On the socket each message is a 4-byte big-endian length and compact JSON.
struct HandOver {
    QStringList urls;
    QString sourceApp;

    // A message is a few URLs; the bound keeps a stray client from filling our memory.
    static constexpr qint64 kMaxMessage = 4 * 1024 * 1024;
    static constexpr int kHeaderBytes = 4;

    QByteArray encode() const;
    static std::optional<HandOver> decode(const QByteArray& body);
    static QByteArray encodeAnswers(const QList<bool>& answers);
    // The answers, when body holds expected of them.
    static std::optional<QList<bool>> decodeAnswers(const QByteArray& body, qsizetype expected);

    static QByteArray frame(const QByteArray& body);
    // A whole message off the front of buffer, or nothing yet; bad set when it can't be one.
    static std::optional<QByteArray> takeFrame(QByteArray& buffer, bool* bad);
};

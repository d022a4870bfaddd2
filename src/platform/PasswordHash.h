#pragma once
#include <QByteArray>
#include <QString>

// Passwords kept as salted, slow hashes (PBKDF2-SHA-256), never as text: what a settings file
// holds lets nobody log in.
namespace platform::PasswordHash {

// "pbkdf2-sha256$ITERATIONS$SALT$HASH" (base64 parts) with a fresh random salt.
QString make(const QByteArray& password);
// True when password gives stored; false for anything malformed.
bool verify(const QByteArray& password, const QString& stored);
// True when text has the shape make() gives.
bool isHash(const QString& text);

}  // namespace platform::PasswordHash

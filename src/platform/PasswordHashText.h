#pragma once
#include <QByteArray>
#include <QString>
#include <optional>

// The stored form of a password hash, apart from the hashing itself: checking a setting's
// shape must not load the cryptography library.
namespace platform::PasswordHash {

inline const QString kHashScheme = QStringLiteral("pbkdf2-sha256");
inline constexpr int kHashBytes = 32;
inline constexpr int kMaxIterations = 10000000;

struct Parts {
    int iterations = 0;
    QByteArray salt;
    QByteArray hash;
};

// The parts of "pbkdf2-sha256$ITERATIONS$SALT$HASH"; nullopt for anything malformed.
std::optional<Parts> parseHashText(const QString& text);

}  // namespace platform::PasswordHash

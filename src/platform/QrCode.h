#pragma once
#include <QString>
#include <vector>

// The modules of a QR code for a text (libqrencode, error correction level M): a square of
// size × size, dark or light. Empty when the text cannot be encoded.
class QrCode {
public:
    static QrCode encode(const QString& text);

    bool isEmpty() const { return mSize == 0; }
    int size() const { return mSize; }
    bool isDark(int x, int y) const { return mDark[size_t(y) * size_t(mSize) + size_t(x)]; }

private:
    int mSize = 0;
    std::vector<bool> mDark;
};

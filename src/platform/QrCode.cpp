#include "platform/QrCode.h"

#include "platform/Log.h"

#include <memory>
#include <qrencode.h>

QrCode QrCode::encode(const QString& text)
{
    QrCode code;
    const QByteArray utf8 = text.toUtf8();
    // Version 0 lets the library pick the smallest code that holds the text.
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> encoded(
        QRcode_encodeString8bit(utf8.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!encoded || encoded->width <= 0) {
        platform::log(QStringLiteral("Could not make a QR code for %1").arg(text));
        return code;
    }
    code.mSize = encoded->width;
    code.mDark.resize(size_t(code.mSize) * size_t(code.mSize));
    // Bit 0 of each byte is the module's colour; the other bits describe its role.
    for (size_t i = 0; i < code.mDark.size(); ++i)
        code.mDark[i] = encoded->data[i] & 1;
    return code;
}

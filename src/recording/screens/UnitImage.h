#pragma once
#include "recording/RemoteAU.h"

#include <QPixmap>
#include <QString>

// Pictures of units: the bundle's own picture where it ships one, our own glyph for our
// entries ("iaa_file", "iaa_mic", "iaa_empty"), else a tile drawn from the name.
namespace UnitImage {

QPixmap image(const QString& image, const QString& name, int size);
QPixmap forRau(const RemoteAU::Ptr& rau, int size);
// The units' pictures side by side, for a setup's row.
QPixmap composite(const QList<RemoteAU::Ptr>& units, int size);

}  // namespace UnitImage

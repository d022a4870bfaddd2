#include "library/ZipAlertDelegate.h"

#include "library/Utils.h"

void ZipAlertDelegate::ErrorMessage(const QString& message)
{
    Utils::showAlert(QStringLiteral("Could not (Un)Zip"), message);
}

#pragma once
#include "library/ZipArchive.h"

// Shows the archive's complaints to the user as "Could not (Un)Zip" alerts.
class ZipAlertDelegate : public ZipArchiveDelegate {
public:
    void ErrorMessage(const QString& message) override;
};

#pragma once
#include "library/ZipArchive.h"

namespace tool {

// Prints the archive's complaints as the browser would show them, and counts them.
class ToolZipDelegate : public ZipArchiveDelegate {
public:
    void ErrorMessage(const QString& message) override;
    int errors() const { return mErrors; }

private:
    int mErrors = 0;
};

}  // namespace tool

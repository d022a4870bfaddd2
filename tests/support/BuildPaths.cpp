#include "support/BuildPaths.h"

namespace testsupport {

QString binDir() { return QStringLiteral(WL_BINARY_DIR); }
QString sourceDir() { return QStringLiteral(WL_SOURCE_DIR); }
QString lv2Dir() { return QStringLiteral(WL_TEST_LV2_DIR); }

}  // namespace testsupport

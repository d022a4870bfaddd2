#pragma once

#include <QString>

namespace testsupport {

// Where this build put its programs, test plugins and sources. Kept out of every other file's
// compile flags so that a build in another folder can reuse their compiled objects.
QString binDir();
QString sourceDir();
QString lv2Dir();

}  // namespace testsupport

#pragma once
#include <QString>
#include <QStringList>
#include <cstdint>

// The five writable formats, addressed by their index `recFormat` 0..4.
namespace Utils {

constexpr int kRecFormatCount = 5;

const QStringList& recFormatNames();
QString fileExtensionForRecFormat(int index);
uint32_t fileTypeForRecFormat(int index);

}  // namespace Utils

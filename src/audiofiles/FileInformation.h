#pragma once
#include <QString>
#include <cstdint>
#include <optional>

// The editor's information text about an existing audio file: channels, type and codec,
// depth or bit rate, sample rate and duration.
namespace Utils {

struct FileInformation {
    QString text;
    bool is44100Hz16Bit = false;  // exactly 44100 Hz with 16 bits per channel
};

// nullopt when the file can't be opened.
std::optional<FileInformation> fileInformation(const QString& path);

// The parts, from plain values.
QString fileTypeName(uint32_t fileType);  // "(unknown)" outside the table
QString codecName(uint32_t dataFormat);    // upper-cased, without blanks and full stops at the ends
QString durationText(double seconds);      // "01:23.250"

}  // namespace Utils

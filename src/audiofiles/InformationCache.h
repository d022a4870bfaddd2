#pragma once
#include <QString>
#include <cstdint>
#include <optional>

// What was read about compressed audio files, kept between runs, so that describing one again
// does not load the codecs (a tenth of a second) for the same few lines. An entry belongs to
// one version of its file and of the codec module that read it: a file written, replaced or
// touched since (size, modification and change times, inode) or another module reads afresh.
// Entries are written whole under their final name by a rename and checked when read, so
// a killed writer or a damaged entry only costs a fresh read.
namespace InformationCache {

// The version of a file as its entry records it; empty when the file can't be read.
struct Stamp {
    int64_t size = -1;
    int64_t modifiedNs = 0;
    int64_t changedNs = 0;
    uint64_t inode = 0;
    uint64_t device = 0;
    int64_t moduleSize = -1;
    int64_t moduleModifiedNs = 0;

    static Stamp of(const QString& path);
    bool isValid() const { return size >= 0; }
    bool operator==(const Stamp&) const = default;
};

struct Entry {
    QString text;
    bool is44100Hz16Bit = false;
};

// The entry of path when it was made for this stamp.
std::optional<Entry> find(const QString& path, const Stamp& stamp);
// Keeps what was read of path at stamp; the oldest entries go when there are too many.
void store(const QString& path, const Stamp& stamp, const Entry& entry);

// Upper bound on entries, and how many stay after a trim.
inline constexpr int kMaxEntries = 2000;
inline constexpr int kEntriesAfterTrim = 1500;

}  // namespace InformationCache

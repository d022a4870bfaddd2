#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>

namespace platform {

// Reads a multipart/form-data body of known length in large pieces and splits it into parts
// as it arrives: the parser of the HTTP library takes a few kilobytes at a time and searches
// each byte, which bounded uploads to a fraction of what the disk and network allow.
class MultipartReader {
public:
    struct PartHeader {
        std::string name;
        std::string filename;
        std::string contentType;
    };
    // Takes up to size bytes; 0 or less when nothing more comes.
    using Read = std::function<ssize_t(char* data, size_t size)>;
    // A part begins; false stops the reading.
    using Begin = std::function<bool(const PartHeader& header)>;
    // The next bytes of the current part; false stops the reading.
    using Data = std::function<bool(const char* data, size_t length)>;

    enum class Result {
        Complete,   // the whole body was read, up to its closing delimiter
        Stopped,    // a handler said so
        Malformed,  // not a multipart body with this boundary
        Cut,        // the body ended early
    };

    static constexpr size_t kMaxHeaderBytes = 16 * 1024;

    // The boundary named by a Content-Type value; empty when there is none.
    static std::string boundaryOf(const std::string& contentType);

    MultipartReader(std::string boundary, uint64_t length, Read read);
    Result run(const Begin& begin, const Data& data);

private:
    bool fill();
    size_t available() const { return mEnd - mBegin; }
    void parseHeader(size_t length, PartHeader& header) const;

    std::string mDelimiter;  // CRLF "--" boundary
    uint64_t mLeft;          // body bytes not yet read
    Read mRead;
    std::unique_ptr<char[]> mBuffer;
    size_t mSize = 0;
    size_t mBegin = 0;
    size_t mEnd = 0;
    bool mWhole = false;  // the whole body fits the buffer
};

}  // namespace platform

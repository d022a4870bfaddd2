#include "platform/MultipartReader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

namespace platform {
namespace {

constexpr size_t kBufferBytes = 512 * 1024;
constexpr size_t kMaxBoundary = 200;

bool startsWithNoCase(const char* text, size_t length, const char* prefix)
{
    const size_t n = std::strlen(prefix);
    return length >= n && ::strncasecmp(text, prefix, n) == 0;
}

std::string trimmed(const char* text, size_t length)
{
    size_t first = 0;
    while (first < length && (text[first] == ' ' || text[first] == '\t'))
        ++first;
    while (length > first && (text[length - 1] == ' ' || text[length - 1] == '\t'))
        --length;
    return std::string(text + first, length - first);
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool hasLineBreak(std::string_view text) { return text.find_first_of("\r\n") != std::string_view::npos; }

// Takes prefix (any case) off the front of text.
bool consume(std::string_view& text, std::string_view prefix)
{
    if (text.size() < prefix.size() || ::strncasecmp(text.data(), prefix.data(), prefix.size()) != 0)
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

void skipSpace(std::string_view& text)
{
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
}

// What may follow a closing quote: nothing, or more parameters after a ";".
bool endsOrMoreParameters(std::string_view rest)
{
    if (rest.empty())
        return true;
    if (rest.front() != ';')
        return false;
    rest.remove_prefix(1);
    skipSpace(rest);
    return !hasLineBreak(rest);
}

// 'Content-Disposition: form-data; name="N"[; filename="F"][; ...]', read as a browser writes it
// and as the HTTP library reads it: the name ends at the first quote after which the line can
// still be read this way, and likewise the file name.
std::optional<std::pair<std::string, std::string>> parseDisposition(std::string_view line)
{
    if (!consume(line, "content-disposition:"))
        return std::nullopt;
    skipSpace(line);
    if (!consume(line, "form-data;"))
        return std::nullopt;
    skipSpace(line);
    if (!consume(line, "name=\""))
        return std::nullopt;
    for (size_t quote = line.find('"'); quote != std::string_view::npos; quote = line.find('"', quote + 1)) {
        const std::string_view name = line.substr(0, quote);
        if (hasLineBreak(name))
            break;
        std::string_view rest = line.substr(quote + 1);
        if (!rest.empty() && rest.front() == ';') {
            std::string_view file = rest.substr(1);
            skipSpace(file);
            if (consume(file, "filename=\"")) {
                for (size_t end = file.find('"'); end != std::string_view::npos; end = file.find('"', end + 1)) {
                    if (hasLineBreak(file.substr(0, end)))
                        break;
                    if (endsOrMoreParameters(file.substr(end + 1)))
                        return std::pair(std::string(name), std::string(file.substr(0, end)));
                }
            }
        }
        if (endsOrMoreParameters(rest))
            return std::pair(std::string(name), std::string());
    }
    return std::nullopt;
}

}  // namespace

std::string MultipartReader::boundaryOf(const std::string& contentType)
{
    const size_t at = contentType.find("boundary=");
    if (at == std::string::npos)
        return {};
    std::string boundary = contentType.substr(at + 9);
    if (boundary.size() >= 2 && boundary.front() == '"') {
        const size_t close = boundary.find('"', 1);
        boundary = close == std::string::npos ? std::string() : boundary.substr(1, close - 1);
    } else {
        boundary = boundary.substr(0, boundary.find(';'));
        boundary = trimmed(boundary.data(), boundary.size());
    }
    return boundary.size() > kMaxBoundary ? std::string() : boundary;
}

MultipartReader::MultipartReader(std::string boundary, uint64_t length, Read read)
    : mDelimiter("\r\n--" + boundary), mLeft(length), mRead(std::move(read))
{
    // The body opens with the delimiter without its line break: with one in front, every
    // delimiter looks the same.
    // A small body gets a buffer of its own size: many small uploads come one after another.
    mSize = size_t(std::min<uint64_t>(length, kBufferBytes)) + mDelimiter.size() + 2;
    mWhole = length <= kBufferBytes;
    mBuffer = std::make_unique_for_overwrite<char[]>(mSize);
    mBuffer[0] = '\r';
    mBuffer[1] = '\n';
    mEnd = 2;
}

// Reads more behind what is there, first moving that to the front when the end is reached;
// false when nothing more came.
bool MultipartReader::fill()
{
    if (mLeft == 0)
        return false;
    if (mBegin > 0 && mEnd == mSize) {
        std::memmove(mBuffer.get(), mBuffer.get() + mBegin, available());
        mEnd -= mBegin;
        mBegin = 0;
    }
    const size_t room = std::min<uint64_t>(mSize - mEnd, mLeft);
    if (room == 0)
        return false;
    const ssize_t n = mRead(mBuffer.get() + mEnd, room);
    if (n <= 0)
        return false;
    mEnd += size_t(n);
    mLeft -= uint64_t(n);
    return true;
}

// A part's header lines, read as the HTTP library reads them: only the name, the file name and
// the type count; other lines are passed over.
void MultipartReader::parseHeader(size_t length, PartHeader& header) const
{
    const char* text = mBuffer.get() + mBegin;
    for (size_t start = 0; start < length;) {
        const char* line = text + start;
        const char* end = static_cast<const char*>(std::memchr(line, '\n', length - start));
        const size_t size = end ? size_t(end - line) : length - start;
        start += size + 1;
        const size_t content = size > 0 && line[size - 1] == '\r' ? size - 1 : size;
        if (startsWithNoCase(line, content, "content-type:")) {
            header.contentType = trimmed(line + 13, content - 13);
        } else if (startsWithNoCase(line, content, "content-disposition:")) {
            if (const auto names = parseDisposition(std::string_view(line, content))) {
                header.name = names->first;
                header.filename = names->second;
            }
        }
    }
}

MultipartReader::Result MultipartReader::run(const Begin& begin, const Data& data)
{
    const size_t delimiter = mDelimiter.size();
    // Before the first part: everything up to the first delimiter is a preamble.
    for (;;) {
        const auto at = std::search(mBuffer.get() + mBegin, mBuffer.get() + mEnd,
                                    std::boyer_moore_horspool_searcher(mDelimiter.begin(), mDelimiter.end()));
        if (at != mBuffer.get() + mEnd) {
            mBegin = size_t(at - mBuffer.get()) + delimiter;
            break;
        }
        mBegin = std::max(mBegin, mEnd > delimiter ? mEnd - delimiter + 1 : mBegin);
        if (!fill())
            return mLeft == 0 ? Result::Malformed : Result::Cut;
    }
    const std::boyer_moore_horspool_searcher find(mDelimiter.begin(), mDelimiter.end());
    for (;;) {
        // After a delimiter: "--" closes the body, a line break opens the next part.
        while (available() < 2)
            if (!fill())
                return mLeft == 0 ? Result::Malformed : Result::Cut;
        if (mBuffer[mBegin] == '-' && mBuffer[mBegin + 1] == '-')
            break;
        if (mBuffer[mBegin] != '\r' || mBuffer[mBegin + 1] != '\n')
            return Result::Malformed;
        mBegin += 2;

        // The header ends with an empty line (at once, when the part has no header lines).
        size_t headerEnd;
        size_t blankLine;
        for (;;) {
            const char* text = mBuffer.get() + mBegin;
            if (available() >= 2 && text[0] == '\r' && text[1] == '\n') {
                headerEnd = 0;
                blankLine = 2;
                break;
            }
            const void* blank = ::memmem(text, available(), "\r\n\r\n", 4);
            if (blank) {
                headerEnd = size_t(static_cast<const char*>(blank) - text);
                blankLine = 4;
                break;
            }
            if (available() > kMaxHeaderBytes)
                return Result::Malformed;
            if (!fill())
                return mLeft == 0 ? Result::Malformed : Result::Cut;
        }
        PartHeader header;
        if (headerEnd > kMaxHeaderBytes)
            return Result::Malformed;
        parseHeader(headerEnd, header);
        mBegin += headerEnd + blankLine;
        if (!begin(header))
            return Result::Stopped;

        // The part's bytes: all up to the next delimiter; a tail that could be the start of
        // one waits for more.
        size_t searched = 0;  // bytes before this have been searched, and hold no delimiter start
        for (;;) {
            const auto first = mBuffer.get() + mBegin;
            const auto at = std::search(mBuffer.get() + std::max(mBegin, searched), mBuffer.get() + mEnd, find);
            if (at != mBuffer.get() + mEnd) {
                const size_t length = size_t(at - first);
                if (length > 0 && !data(mBuffer.get() + mBegin, length))
                    return Result::Stopped;
                mBegin += length + delimiter;
                break;
            }
            // A body that fits the buffer is read whole first: its parts arrive in one piece
            // each (and are written to their files in one go). Larger ones stream as they come.
            if (mWhole && mLeft > 0) {
                // Nothing moves while there is room: the next search starts where a delimiter
                // could still begin.
                searched = mEnd >= delimiter ? mEnd - delimiter + 1 : 0;
                if (!fill())
                    return Result::Cut;
                continue;
            }
            searched = 0;
            const size_t safe = available() >= delimiter ? available() - delimiter + 1 : 0;
            if (safe > 0) {
                if (!data(mBuffer.get() + mBegin, safe))
                    return Result::Stopped;
                mBegin += safe;
            }
            if (!fill())
                return mLeft == 0 ? Result::Malformed : Result::Cut;
        }
    }
    // The epilogue after the closing delimiter is read and dropped.
    mBegin = mEnd;
    while (mLeft > 0) {
        mBegin = mEnd = 0;
        if (!fill())
            return Result::Cut;
    }
    return Result::Complete;
}

}  // namespace platform

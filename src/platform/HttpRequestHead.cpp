#include "platform/HttpRequestHead.h"

#include <strings.h>

namespace platform {
namespace {

constexpr size_t kMaxMethod = 16;
constexpr size_t kMaxLengthDigits = 19;  // below 2^64

bool isTokenChar(unsigned char c)
{
    if (c >= '0' && c <= '9')
        return true;
    if ((c | 0x20) >= 'a' && (c | 0x20) <= 'z')
        return true;
    switch (c) {
    case '!': case '#': case '$': case '%': case '&': case '\'': case '*': case '+':
    case '-': case '.': case '^': case '_': case '`': case '|': case '~':
        return true;
    default:
        return false;
    }
}

// Visible characters, spaces and tabs, and bytes past ASCII (left to the routes to judge).
bool isValueChar(unsigned char c) { return c == '\t' || (c >= 0x20 && c != 0x7f); }

bool sameNoCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The line up to CRLF, taken off text; nothing when the line has a CR or LF of its own.
std::optional<std::string_view> takeLine(std::string_view& text)
{
    const size_t end = text.find("\r\n");
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::string_view line = text.substr(0, end);
    if (line.find_first_of("\r\n") != std::string_view::npos)
        return std::nullopt;
    text.remove_prefix(end + 2);
    return line;
}

std::optional<uint64_t> decimal(std::string_view text)
{
    if (text.empty() || text.size() > kMaxLengthDigits)
        return std::nullopt;
    uint64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + uint64_t(c - '0');
    }
    return value;
}

// Whether a Connection header's list names token.
bool namesToken(std::string_view list, std::string_view token)
{
    while (!list.empty()) {
        const size_t comma = list.find(',');
        if (sameNoCase(trimmed(list.substr(0, comma)), token))
            return true;
        if (comma == std::string_view::npos)
            break;
        list.remove_prefix(comma + 1);
    }
    return false;
}

}  // namespace

std::optional<HttpRequestHead> HttpRequestHead::parse(std::string_view head)
{
    HttpRequestHead r;
    const std::optional<std::string_view> requestLine = takeLine(head);
    if (!requestLine)
        return std::nullopt;
    const size_t firstSpace = requestLine->find(' ');
    const size_t secondSpace = requestLine->find(' ', firstSpace + 1);
    if (firstSpace == 0 || firstSpace > kMaxMethod || secondSpace == std::string_view::npos)
        return std::nullopt;
    r.method = requestLine->substr(0, firstSpace);
    for (const char c : r.method)
        if (c < 'A' || c > 'Z')
            return std::nullopt;
    const std::string_view target = requestLine->substr(firstSpace + 1, secondSpace - firstSpace - 1);
    if (target.empty() || target.front() != '/')
        return std::nullopt;
    for (const char c : target)
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f)
            return std::nullopt;
    const size_t question = target.find('?');
    r.path = target.substr(0, question);
    if (question != std::string_view::npos)
        r.query = target.substr(question + 1);
    r.version = requestLine->substr(secondSpace + 1);
    if (r.version != "HTTP/1.1" && r.version != "HTTP/1.0")
        return std::nullopt;

    bool closes = false;
    bool keeps = false;
    for (;;) {
        const std::optional<std::string_view> line = takeLine(head);
        if (!line)
            return std::nullopt;
        if (line->empty())
            break;
        const size_t colon = line->find(':');
        if (colon == 0 || colon == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = line->substr(0, colon);
        for (const char c : name)
            if (!isTokenChar(static_cast<unsigned char>(c)))
                return std::nullopt;  // also a folded line, which starts with a space
        const std::string_view value = trimmed(line->substr(colon + 1));
        for (const char c : value)
            if (!isValueChar(static_cast<unsigned char>(c)))
                return std::nullopt;
        if (sameNoCase(name, "content-length")) {
            const std::optional<uint64_t> length = decimal(value);
            if (!length || r.contentLength)
                return std::nullopt;
            r.contentLength = length;
        } else if (sameNoCase(name, "transfer-encoding")) {
            r.transferEncoding = true;
        } else if (sameNoCase(name, "expect")) {
            r.expectsContinue = true;
        } else if (sameNoCase(name, "connection")) {
            closes = closes || namesToken(value, "close");
            keeps = keeps || namesToken(value, "keep-alive");
        }
        r.headers.emplace_back(name, value);
    }
    if (!head.empty())
        return std::nullopt;  // the block must end with its empty line
    r.keepAlive = !closes && (r.version == "HTTP/1.1" || keeps);
    return r;
}

}  // namespace platform

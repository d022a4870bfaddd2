#pragma once
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

// A request's line and header block, read strictly: only "METHOD target HTTP/1.x" and header
// lines of a name, a colon and a value of visible characters, each ending in CRLF. Anything
// else (folded lines, control characters, a bare LF, two Content-Lengths, a length that is not
// a number) is not parsed here: the server leaves such requests to the HTTP library's parser,
// which answers them as it always did.
struct HttpRequestHead {
    std::string_view method;
    std::string_view path;   // the target up to '?', as sent
    std::string_view query;  // after '?', as sent
    std::string_view version;
    std::vector<std::pair<std::string_view, std::string_view>> headers;  // in order, values trimmed
    std::optional<uint64_t> contentLength;
    bool transferEncoding = false;  // the body comes in another framing
    bool expectsContinue = false;   // the client waits for "100 Continue" before its body
    bool keepAlive = false;         // the connection may carry another request after this one

    // head: from the request line up to and including the empty line that ends the header.
    static std::optional<HttpRequestHead> parse(std::string_view head);
};

}  // namespace platform

// The strict request-head parser of the server's short path: what it takes, and every kind of
// odd head it must leave to the general parser.
#include "platform/HttpRequestHead.h"

#include <gtest/gtest.h>
#include <string>

using platform::HttpRequestHead;

namespace {

std::optional<HttpRequestHead> parse(const std::string& head) { return HttpRequestHead::parse(head); }

}  // namespace

TEST(HttpRequestHead, ReadsLineHeadersLengthAndConnection)
{
    const std::string text = "POST /upload?x=1&y=%20 HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Type: multipart/form-data; "
                             "boundary=abc\r\nContent-Length: 51496\r\nX-Empty:\r\nX-Spaced: \t a b \t\r\n\r\n";
    const auto head = parse(text);
    ASSERT_TRUE(head);
    EXPECT_EQ(head->method, "POST");
    EXPECT_EQ(head->path, "/upload");
    EXPECT_EQ(head->query, "x=1&y=%20");
    EXPECT_EQ(head->version, "HTTP/1.1");
    EXPECT_EQ(head->contentLength, 51496u);
    EXPECT_TRUE(head->keepAlive);
    EXPECT_FALSE(head->transferEncoding);
    EXPECT_FALSE(head->expectsContinue);
    ASSERT_EQ(head->headers.size(), 5u);
    EXPECT_EQ(head->headers[0].first, "Host");
    EXPECT_EQ(head->headers[0].second, "127.0.0.1:8080");
    EXPECT_EQ(head->headers[3].second, "");
    EXPECT_EQ(head->headers[4].second, "a b");

    EXPECT_FALSE(parse("GET / HTTP/1.1\r\nConnection: keep-alive, Close\r\n\r\n")->keepAlive);
    EXPECT_FALSE(parse("GET / HTTP/1.0\r\n\r\n")->keepAlive);
    EXPECT_TRUE(parse("GET / HTTP/1.0\r\nconnection: Keep-Alive\r\n\r\n")->keepAlive);
    EXPECT_FALSE(parse("GET / HTTP/1.1\r\n\r\n")->contentLength);
    EXPECT_TRUE(parse("POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n")->transferEncoding);
    EXPECT_TRUE(parse("POST /a HTTP/1.1\r\nexpect: 100-continue\r\nContent-Length: 3\r\n\r\n")->expectsContinue);
    EXPECT_EQ(parse("POST /a HTTP/1.1\r\nContent-Length: 0\r\n\r\n")->contentLength, 0u);
    EXPECT_EQ(parse("POST /a HTTP/1.1\r\nContent-Length: 9999999999999999999\r\n\r\n")->contentLength,
              9999999999999999999u);
}

TEST(HttpRequestHead, LeavesEveryOddHeadToTheGeneralParser)
{
    const char* odd[] = {
        // request lines
        "", "\r\n\r\n", "POST\r\n\r\n", "POST /a\r\n\r\n", "POST /a HTTP/1.1", "POST /a HTTP/1.1\r\n",
        "post /a HTTP/1.1\r\n\r\n", "PO ST /a HTTP/1.1\r\n\r\n", "POST  /a HTTP/1.1\r\n\r\n", "POST /a  HTTP/1.1\r\n\r\n",
        "POST a HTTP/1.1\r\n\r\n", "POST http://x/a HTTP/1.1\r\n\r\n", "POST /a HTTP/2.0\r\n\r\n",
        "POST /a HTTP/1.1 \r\n\r\n", "POST /a\tb HTTP/1.1\r\n\r\n", "POST /a\x7f HTTP/1.1\r\n\r\n",
        "POST /a\x01 HTTP/1.1\r\n\r\n", "POST /a HTTP/1.1\n\r\n", "POST /a HTTP/1.1\r\r\n\r\n",
        "VERYLONGMETHODNAME /a HTTP/1.1\r\n\r\n",
        // header lines
        "POST /a HTTP/1.1\r\nHost 127.0.0.1\r\n\r\n", "POST /a HTTP/1.1\r\n: value\r\n\r\n",
        "POST /a HTTP/1.1\r\nHost : x\r\n\r\n", "POST /a HTTP/1.1\r\nHo(st: x\r\n\r\n",
        "POST /a HTTP/1.1\r\nX-A: one\r\n two\r\n\r\n", "POST /a HTTP/1.1\r\nX-A: one\r\n\ttwo\r\n\r\n",
        "POST /a HTTP/1.1\r\nX-A: a\x01z\r\n\r\n", "POST /a HTTP/1.1\r\nX-A: a\x7fz\r\n\r\n",
        "POST /a HTTP/1.1\r\nX-A: a\rz\r\n\r\n", "POST /a HTTP/1.1\r\nX-A: a\nz\r\n\r\n",
        "POST /a HTTP/1.1\r\nX-A: a\r\n\n", "POST /a HTTP/1.1\r\nX-A: a\n\r\n",
        // lengths
        "POST /a HTTP/1.1\r\nContent-Length: 3\r\nContent-Length: 3\r\n\r\n",
        "POST /a HTTP/1.1\r\nContent-Length: -3\r\n\r\n", "POST /a HTTP/1.1\r\nContent-Length: 3, 3\r\n\r\n",
        "POST /a HTTP/1.1\r\nContent-Length: 0x10\r\n\r\n", "POST /a HTTP/1.1\r\nContent-Length:\r\n\r\n",
        "POST /a HTTP/1.1\r\nContent-Length: +3\r\n\r\n",
        "POST /a HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n",
        // anything after the empty line belongs to the body, not the head
        "POST /a HTTP/1.1\r\nHost: x\r\n\r\nbody",
    };
    for (const char* text : odd)
        EXPECT_FALSE(parse(text)) << '"' << text << '"';
    // A NUL anywhere.
    EXPECT_FALSE(parse(std::string("POST /a\0b HTTP/1.1\r\n\r\n", 23)));
    EXPECT_FALSE(parse(std::string("POST /a HTTP/1.1\r\nX-A: a\0b\r\n\r\n", 31)));
}

// The multipart body reader against bodies cut into pieces of every size: each part's bytes
// arrive exact, whatever looks like a delimiter inside them, and broken bodies are told apart.
#include "platform/MultipartReader.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <string>
#include <vector>

using platform::MultipartReader;

namespace {

const std::string kBoundary = "----formdata0123456789";

struct Part {
    std::string name;
    std::string filename;
    std::string contentType;
    std::string bytes;
};

std::string body(const std::vector<Part>& parts, const std::string& preamble = {}, const std::string& epilogue = {})
{
    std::string text = preamble;
    for (const Part& p : parts) {
        text += "--" + kBoundary + "\r\nContent-Disposition: form-data; name=\"" + p.name + "\"";
        if (!p.filename.empty())
            text += "; filename=\"" + p.filename + "\"";
        text += "\r\n";
        if (!p.contentType.empty())
            text += "Content-Type: " + p.contentType + "\r\n";
        text += "\r\n" + p.bytes + "\r\n";
    }
    return text + "--" + kBoundary + "--\r\n" + epilogue;
}

// Reads text through a reader that hands out pieces of random sizes up to maxPiece.
MultipartReader::Result readAll(const std::string& text, uint64_t length, size_t maxPiece, std::vector<Part>& out,
                                unsigned seed, size_t stopAfterParts = SIZE_MAX)
{
    std::mt19937 random(seed);
    size_t at = 0;
    MultipartReader reader(kBoundary, length, [&](char* data, size_t size) -> ssize_t {
        const size_t piece = std::min({size, text.size() - at, size_t(random() % maxPiece) + 1});
        std::copy_n(text.data() + at, piece, data);
        at += piece;
        return ssize_t(piece);
    });
    out.clear();
    return reader.run(
        [&](const MultipartReader::PartHeader& h) {
            if (out.size() >= stopAfterParts)
                return false;
            out.push_back({h.name, h.filename, h.contentType, {}});
            return true;
        },
        [&](const char* data, size_t size) {
            out.back().bytes.append(data, size);
            return true;
        });
}

}  // namespace

TEST(MultipartReader, EveryPartArrivesExactWhateverThePiecesAndTheBrokenBodiesAreToldApart)
{
    std::string noise(300000, '\0');
    std::mt19937 random(7);
    for (char& c : noise)
        c = char(random());
    // Near-delimiters inside the data: a line break and dashes, the boundary cut short, the
    // boundary without its line break.
    const std::string tricky = "a\r\n--" + kBoundary.substr(0, 10) + "\r\n\r\n--" + kBoundary.substr(0, kBoundary.size() - 1)
                               + "x" + kBoundary + "--\r\n\r" + "\r\n-";
    const std::vector<Part> parts = {
        {"path", "", "", "/up/"},
        {"files[]", "take 1.wav", "audio/wav", noise},
        {"files[]", "empty.wav", "audio/wav", ""},
        {"files[]", "tricky.txt", "text/plain", tricky},
        {"files[]", "crlf.bin", "", "\r\n\r\n"},
    };
    const std::string text = body(parts, "a preamble to skip\r\n", "an epilogue to drop");
    for (const size_t maxPiece : {size_t(1), size_t(7), size_t(100), size_t(70000), text.size()}) {
        std::vector<Part> got;
        ASSERT_EQ(readAll(text, text.size(), maxPiece, got, unsigned(maxPiece)), MultipartReader::Result::Complete) << maxPiece;
        ASSERT_EQ(got.size(), parts.size());
        for (size_t i = 0; i < parts.size(); ++i) {
            EXPECT_EQ(got[i].name, parts[i].name);
            EXPECT_EQ(got[i].filename, parts[i].filename);
            EXPECT_EQ(got[i].contentType, parts[i].contentType);
            EXPECT_TRUE(got[i].bytes == parts[i].bytes) << "part " << i << " in pieces of up to " << maxPiece;
        }
    }

    std::vector<Part> got;
    // The connection ends before the body: cut, whatever part it was in.
    for (const size_t sent : {size_t(10), size_t(200), text.size() / 2, text.size() - 3})
        EXPECT_EQ(readAll(text.substr(0, sent), text.size(), 4096, got, 1), MultipartReader::Result::Cut) << sent;
    // The whole announced length without the closing delimiter, or another boundary: malformed.
    const std::string open = text.substr(0, text.find("--" + kBoundary + "--"));
    EXPECT_EQ(readAll(open, open.size(), 4096, got, 1), MultipartReader::Result::Malformed);
    std::string other = text;
    std::replace(other.begin(), other.end(), '9', '8');
    EXPECT_EQ(readAll(other, other.size(), 4096, got, 1), MultipartReader::Result::Malformed);
    // A part header that never ends is refused once past the limit, not read for ever.
    const std::string endless = "--" + kBoundary + "\r\nContent-Disposition: form-data; name=\"x\"\r\n"
                                + std::string(MultipartReader::kMaxHeaderBytes * 2, 'h');
    EXPECT_EQ(readAll(endless, endless.size() + 100, 4096, got, 1), MultipartReader::Result::Malformed);
    // A handler that says no stops the reading there.
    EXPECT_EQ(readAll(text, text.size(), 4096, got, 1, 2), MultipartReader::Result::Stopped);
    EXPECT_EQ(got.size(), 2u);

    EXPECT_EQ(MultipartReader::boundaryOf("multipart/form-data; boundary=abc"), "abc");
    EXPECT_EQ(MultipartReader::boundaryOf("multipart/form-data; boundary=\"a b;c\"; charset=x"), "a b;c");
    EXPECT_EQ(MultipartReader::boundaryOf("multipart/form-data; boundary=abc; charset=utf-8"), "abc");
    EXPECT_EQ(MultipartReader::boundaryOf("multipart/form-data"), "");
    EXPECT_EQ(MultipartReader::boundaryOf("multipart/form-data; boundary=" + std::string(300, 'b')), "");
}

TEST(MultipartReader, PartNamesAreReadAsTheHttpLibraryReadsThem)
{
    // The HTTP library's own reading of the line, as the reference for every variant below.
    static const std::regex reference(
        R"~(^Content-Disposition:\s*form-data;\s*name="(.*?)"(?:;\s*filename="(.*?)")?(?:;\s*.*)?$)~",
        std::regex_constants::icase);
    std::vector<std::string> lines = {
        R"(Content-Disposition: form-data; name="files[]"; filename="loop 1.wav")",
        R"(content-disposition:form-data;name="path")",
        R"(CONTENT-DISPOSITION:   form-data;   name="a"; FILENAME="b"; size=3)",
        R"(Content-Disposition: form-data; name="a"b"; filename="c"d")",
        R"(Content-Disposition: form-data; name="a"; filename="c"; x"; y)",
        R"(Content-Disposition: form-data; name="a"; other="z")",
        R"(Content-Disposition: form-data; name="a"x)",
        R"(Content-Disposition: form-data; name="")",
        R"(Content-Disposition: form-data; name="a"; filename="")",
        R"(Content-Disposition: form-data; name="a";filename="q;"; "r")",
        R"(Content-Disposition: attachment; name="a")",
        R"(Content-Disposition: form-data; name=a)",
        R"(Content-Disposition: form-data ; name="a")",
    };
    // And lines put together at random from the pieces that matter.
    const std::vector<std::string> pieces = {"\"", ";", " ", "name=\"", "filename=\"", "a", "b", "\t", "FileName=\""};
    std::mt19937 random(11);
    for (int i = 0; i < 3000; ++i) {
        std::string line = "Content-Disposition: form-data; name=\"";
        for (int n = int(random() % 9); n > 0; --n)
            line += pieces[random() % pieces.size()];
        lines.push_back(line);
    }
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        std::smatch match;
        const bool read = std::regex_match(line, match, reference);
        std::vector<Part> got;
        const std::string text = "--" + kBoundary + "\r\n" + line + "\r\n\r\nx\r\n--" + kBoundary + "--\r\n";
        ASSERT_EQ(readAll(text, text.size(), text.size(), got, 1), MultipartReader::Result::Complete);
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].name, read ? match[1].str() : std::string());
        EXPECT_EQ(got[0].filename, read ? match[2].str() : std::string());
        EXPECT_EQ(got[0].bytes, "x");
    }
}

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

#include "staticcontent/ByteRange.h"
#include "staticcontent/HttpDate.h"
#include "tests/staticcontent/ContentFixture.h"

namespace connector::http::staticcontent {
namespace {

TEST(ByteRangeTest, IsOneRunOfBytesInTheFile)
{
    constexpr std::uint64_t kLargest = 2'147'483'647;
    const std::pair<const char*, ByteRange> cases[] = {
        {"bytes=0-0", {0, 0}}, {"bytes=0-9", {0, 9}}, {"bytes=5-", {5, 9}},
        {"bytes=-3", {7, 9}},  {"bytes=-11", {0, 9}}, {"bytes=-2147483647", {0, 9}}};
    for (const auto& [header, range] : cases) {
        EXPECT_EQ(parseByteRange(header, 10), range) << header;
    }
    for (const auto* header :
         {"bytes=10-", "bytes=5-2", "bytes=0-10", "bytes=-0", "bytes=-", "", "bytes=0-1,4-5",
          "items=0-1", "bytes= 0-1", "bytes=0-1 ", "bytes=--1", "bytes=+1-2"}) {
        EXPECT_EQ(parseByteRange(header, 10), std::nullopt) << header;
    }
    EXPECT_EQ(parseByteRange("bytes=-1", kLargest), (ByteRange{2147483646, 2147483646}));
    for (const auto* header : {"bytes=0-0", "bytes=0-", "bytes=-1"}) {
        EXPECT_EQ(parseByteRange(header, 0), std::nullopt) << header;
        EXPECT_EQ(parseByteRange(header, kLargest + 1), std::nullopt) << header;
    }
    for (const auto* header :
         {"bytes=2147483648-", "bytes=-2147483648", "bytes=0-9999999999999999999"}) {
        EXPECT_THROW(parseByteRange(header, 10), std::out_of_range) << header;
    }
}

TEST(HttpDateTest, IsTheTextOfTheLibrary)
{
    constexpr std::int64_t kFirst = -12'219'292'800; // in 1582; the library fails before it
    constexpr std::int64_t kLast = 253'402'300'799;
    for (auto time = kFirst; time <= kLast; time += 86'400 * 97 + 3'727) {
        ASSERT_EQ(formatHttpDate(time),
                  Poco::DateTimeFormatter::format(Poco::Timestamp::fromEpochTime(time),
                                                  Poco::DateTimeFormat::HTTP_FORMAT));
    }
    EXPECT_EQ(formatHttpDate(INT64_MAX), "Fri, 31 Dec 9999 23:59:59 GMT");
    EXPECT_EQ(formatHttpDate(INT64_MIN), "Mon, 01 Jan 0001 00:00:00 GMT");
}

class FileResponseTest : public ContentFixture
{
protected:
    FileResponseTest()
    {
        const auto file = directory_.write("ten.txt", "0123456789");
        const timespec times[] = {{0, UTIME_NOW}, {784'111'777, 999'999'999}};
        EXPECT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
        mount("/", "");
    }

    /// The answer to a GET, once that to a HEAD was found to have the same status and headers.
    Reply getAndHead(const std::string& path, const StringMultimap& headers = {})
    {
        auto reply = get(path, headers);
        const auto bare = get(path, headers, "head");
        EXPECT_EQ(bare.status, reply.status);
        EXPECT_EQ(bare.headers, reply.headers);
        EXPECT_EQ(bare.body, bare.status == 404 ? reply.body : "");
        return reply;
    }
};

TEST_F(FileResponseTest, TheExactExtensionGivesTheType)
{
    const std::pair<const char*, const char*> cases[] = {
        {"a.htm", "text/html"}, {"b.min.js", "text/javascript"},
        {".opus", "audio/ogg"}, {"x.JS", ""},
        {"file.bin", ""},       {"d.js/none", ""}};
    for (const auto& [file, type] : cases) {
        directory_.write(file, "");
        EXPECT_EQ(get(std::string("/") + file).headers["Content-Type"], type) << file;
    }
}

TEST_F(FileResponseTest, AnswersConditions)
{
    const std::string since = "if-modified-since";
    const std::string noneMatch = "if-none-match";
    const std::string tag = "78411177710";
    const std::pair<StringMultimap, int> cases[] = {
        {{{noneMatch, tag}}, 304},
        {{{noneMatch, '"' + tag + '"'}}, 200},
        {{{since, "Sun, 06 Nov 1994 08:49:37 GMT"}, {noneMatch, "other"}}, 304},
        {{{since, "Sun, 06 Nov 1994 08:49:36 GMT"}}, 200},
        {{{since, "Sun, 06 Nov 1994 10:49:37 +0200"}}, 304},
        {{{since, "Sun, 06 Nov 1994 08:49:36 GMT"}, {noneMatch, tag}}, 304},
        {{{since, "yesterday"}, {noneMatch, tag}}, 404},
        {{{noneMatch, tag}, {"range", "bytes=0-0"}}, 304}};
    for (const auto& [headers, status] : cases) {
        SCOPED_TRACE(testing::PrintToString(headers));
        auto reply = getAndHead("/ten.txt", headers);
        EXPECT_EQ(reply.status, status);
        EXPECT_EQ(reply.headers["Content-Length"], status == 404 ? "" : "10");
        EXPECT_EQ(reply.body.empty(), status == 304);
    }
}

TEST_F(FileResponseTest, DescribesTheFileAndServesItsRanges)
{
    std::map<std::string, std::string> expected = {
        {"Content-Type", "text/plain"}, {"Last-Modified", "Sun, 06 Nov 1994 08:49:37 GMT"},
        {"ETag", "78411177710"},        {"Content-Length", "10"},
        {"Accept-Ranges", "bytes"},     {"Cache-Control", "no-cache"}};
    const auto whole = getAndHead("/ten.txt");
    EXPECT_EQ(whole.status, 200);
    EXPECT_EQ(whole.headers, expected);
    EXPECT_EQ(whole.body, "0123456789");
    using Text = const char*;
    const std::tuple<Text, int, Text, Text, Text> cases[] = {
        {"bytes=2-4", 206, "bytes 2-4/10", "3", "234"},
        {"bytes=-99", 206, "bytes 0-9/10", "10", "0123456789"},
        {"bytes=0-10", 416, "*", "10", ""}};
    for (const auto& [range, status, contentRange, length, body] : cases) {
        SCOPED_TRACE(range);
        const auto reply = getAndHead("/ten.txt", {{"range", range}});
        EXPECT_EQ(reply.status, status);
        expected["Content-Range"] = contentRange;
        expected["Content-Length"] = length;
        EXPECT_EQ(reply.headers, expected);
        EXPECT_EQ(reply.body, body);
    }
    EXPECT_EQ(getAndHead("/ten.txt", {{"range", "bytes=2147483648-"}}).status, 404);
}

TEST_F(FileResponseTest, AHugeFileIsNotRead)
{
    std::filesystem::resize_file(directory_.write("huge", ""), 3ULL << 30);
    auto reply = getAndHead("/huge");
    EXPECT_EQ(reply.headers["Content-Length"], "3221225472");
    EXPECT_EQ(reply.body, "");
    EXPECT_EQ(get("/huge", {{"range", "bytes=0-9"}}).status, 416);
}

TEST_F(FileResponseTest, TheFirstRouteThatIsAPrefixDecidesAboutCaching)
{
    service_ = std::make_shared<StaticContentServiceImpl>(
        nullptr, Routes{{"", directory_.path().wstring()}},
        CacheFlags{{"/ten", true}, {"/t", false}}, false);
    directory_.write("tea", "");
    directory_.write("one", "");
    EXPECT_EQ(get("/ten.txt").headers["Cache-Control"], "max-age=2592000");
    EXPECT_EQ(get("/tea").headers["Cache-Control"], "no-cache");
    EXPECT_EQ(get("/one").headers.count("Cache-Control"), 0U);
}

} // namespace
} // namespace connector::http::staticcontent

#include <Poco/URI.h>
#include <cstdio>
#include <string>

#include "server/RequestParts.h"
#include "staticcontent/DirectoryListing.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {
namespace {

using fuzz::require;

/// The files that are served. All directories but "list" have an index.
constexpr std::pair<const char*, std::string_view> kServed[] = {
    {"site/index.html", "0123456"},  {"site/empty.txt", ""},
    {"site/list/a b.txt", "abcdef"}, {"site/list/\xC3\xA4.bin", "wxyz."},
    {"app/index.html", "ABCDEFGH"},
};

/// Directories with routes to them, and files beside them.
struct Site
{
    Site()
    {
        for (const auto& [name, content] : kServed) {
            directory.write(name, content);
        }
        for (const auto* name : {"secret.txt", "index.html", "site2/index.html"}) {
            directory.write(name, "not served");
        }
        service->addStaticContentPath("/", (directory.path() / "site").wstring(), true);
        service->addStaticContentPath("/app", (directory.path() / "app").wstring(), false);
    }

    const test::TemporaryDirectory directory;
    const std::shared_ptr<StaticContentServiceImpl> service =
        std::make_shared<StaticContentServiceImpl>(
            nullptr, std::map<std::string, std::wstring, std::greater<std::string>>(),
            std::map<std::string, bool, std::greater<std::string>>(), true);
};

/// The path of a target as it is decoded, then as it is normalised.
std::pair<std::string, std::string> pathsOf(std::string_view target)
{
    auto decoded = parseTarget(target).path;
    auto path = normalisePath(decoded);
    require(path.empty() || path.starts_with('/'), "A path is empty or begins with a slash.");
    require((path + '/').find("/../") == std::string::npos, "No segment leads upwards.");
    require(path.empty() || normalisePath(path) == path, "A normal path stays as it is.");
    return {std::move(decoded), std::move(path)};
}

std::string get(const StringMultimap& headers, const std::string& name)
{
    const auto found = headers.find(name);
    return found != headers.end() ? found->second : "";
}

void checkBody(const HttpResponse& answer, const std::string& path, const std::string& body)
{
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t size = 0;
    if (answer.status == 404) {
        return require(body == "File not found.", "What is not found says so.");
    }
    if (answer.status == 304 || answer.status == 416) {
        return require(answer.body == nullptr, "No body where there is none.");
    }
    if (get(answer.headers, "ETag").empty()) {
        const auto prefix = path.starts_with('/') ? path : '/' + path;
        return require(
            body == staticcontent::renderDirectoryList(prefix, {}, {"a b.txt", "\xC3\xA4.bin"}),
            "The listing is that of the directory.");
    }
    if (answer.status == 206) {
        const auto range = get(answer.headers, "Content-Range");
        require(std::sscanf(range.c_str(), "bytes %zu-%zu/%zu", &first, &last, &size) == 3 &&
                    first <= last && last < size,
                "A range lies in the file.");
    }
    const auto isOf = [&](const auto& file) {
        return answer.status == 206 ? file.second.size() == size &&
                                          file.second.substr(first, last - first + 1) == body
                                    : file.second == body;
    };
    require(std::ranges::any_of(kServed, isOf), "Only files that are served are sent.");
    require(get(answer.headers, "Content-Length") == std::to_string(body.size()),
            "The length of a body is announced.");
}

void check(const Site& site, const std::string& path, const StringMultimap& headers)
{
    const auto message =
        site.service->doGet(test::makeHttpRequest(path, "get", headers), {}, nullptr).get();
    const auto& answer = dynamic_cast<const HttpResponse&>(*message);
    checkBody(answer, path, test::bodyOf(answer));
    const auto bare =
        site.service->doHead(test::makeHttpRequest(path, "head", headers), {}, nullptr).get();
    const auto& head = dynamic_cast<const HttpResponse&>(*bare);
    require(head.status == answer.status && head.headers == answer.headers,
            "HEAD has the status and the headers of GET.");
}

} // namespace
} // namespace connector::http

/// A line each: the target of a request, its range and its date.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    auto input = fuzz::textOf(data, size);
    const auto target = fuzz::takeUntil(input, '\n');
    http::StringMultimap headers;
    for (const auto* name : {"range", "if-modified-since"}) {
        if (const auto value = fuzz::takeUntil(input, '\n'); !value.empty()) {
            headers.emplace(name, value);
        }
    }
    static const http::Site site;
    try {
        const auto [decoded, normalised] = http::pathsOf(target);
        http::check(site, decoded, headers); // no file outside of it, whoever asks
        http::check(site, normalised, headers);
    } catch (const Poco::URISyntaxException&) {
        return 0;
    }
    return 0;
}

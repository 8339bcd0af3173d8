#include <Poco/URI.h>
#include <cstdio>
#include <memory>
#include <string>

#include "contract/common/Text.h"
#include "contract/http/HttpRequest.h"
#include "contract/http/HttpResponse.h"
#include "contract/streams/ReducingSubscriber.h"
#include "server/RequestParts.h"
#include "staticcontent/DirectoryListing.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {
namespace {

using common::DataBuffer;
using fuzz::require;

/// The files that are served; the one route lists no directory but "list".
constexpr std::pair<const char*, std::string_view> kServed[] = {
    {"site/index.html", "0123456"},  {"site/empty.txt", ""},
    {"site/list/a b.txt", "abcdef"}, {"site/list/\xC3\xA4.bin", "wxyz."},
    {"app/index.html", "ABCDEFGH"},
};
constexpr const char* kNotServed[] = {"secret.txt", "index.html", "site2/index.html"};

/// Directories with routes to them, and files beside.
class Site
{
public:
    Site()
    {
        for (const auto& [name, content] : kServed) {
            directory_.write(name, content);
        }
        for (const auto* name : kNotServed) {
            directory_.write(name, "not served");
        }
        service_->addStaticContentPath("/", (directory_.path() / "site").wstring(), true);
        service_->addStaticContentPath("/app", (directory_.path() / "app").wstring(), false);
    }

    /// The answer, and its body.
    std::pair<std::unique_ptr<HttpResponse>, std::string>
    ask(const std::string& path, const StringMultimap& headers, bool head)
    {
        auto request = std::make_unique<HttpRequest>("", path, "", head ? "head" : "get",
                                                     StringMultimap(headers), StringMultimap(),
                                                     StringMultimap(), true, nullptr);
        auto future = head ? service_->doHead(std::move(request), {}, nullptr)
                           : service_->doGet(std::move(request), {}, nullptr);
        auto message = future.get();
        std::unique_ptr<HttpResponse> answer(&dynamic_cast<HttpResponse&>(*message.release()));
        if (answer->body == nullptr) {
            return {std::move(answer), ""};
        }
        using Reader = reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>;
        const auto reader = std::make_shared<Reader>(common::concatenate);
        answer->body->subscribe(reader);
        return {std::move(answer), std::string(reader->getResult().get().view())};
    }

private:
    test::TemporaryDirectory directory_;
    const std::shared_ptr<StaticContentServiceImpl> service_ =
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
    require(!decoded.starts_with('/') || normalisePath("/x/.." + decoded) == path,
            "A segment that leads upwards takes away the one before it.");
    return {std::move(decoded), std::move(path)};
}

std::string get(const StringMultimap& headers, const std::string& name)
{
    const auto found = headers.find(name);
    return found != headers.end() ? found->second : "";
}

void checkWhole(const HttpResponse& answer, const std::string& path, const std::string& body)
{
    if (get(answer.headers, "ETag").empty()) {
        const auto prefix = path.starts_with('/') ? path : '/' + path;
        require(body == staticcontent::renderDirectoryList(prefix, {}, {"a b.txt", "\xC3\xA4.bin"}),
                "The listing is that of the directory.");
        return;
    }
    require(std::ranges::any_of(kServed, [&](const auto& file) { return file.second == body; }),
            "A file is one of those that are served.");
    require(get(answer.headers, "Content-Length") == std::to_string(body.size()),
            "The length of a file is announced.");
}

void checkRange(const HttpResponse& answer, const std::string& body)
{
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t size = 0;
    const auto range = get(answer.headers, "Content-Range");
    require(std::sscanf(range.c_str(), "bytes %zu-%zu/%zu", &first, &last, &size) == 3 &&
                first <= last && last < size,
            "A range lies in the file.");
    require(std::ranges::any_of(kServed,
                                [&](const auto& file) {
                                    return file.second.size() == size &&
                                           file.second.substr(first, last - first + 1) == body;
                                }),
            "A range is a part of a file that is served.");
    require(get(answer.headers, "Content-Length") == std::to_string(body.size()),
            "The length of a range is announced.");
}

void checkBody(const HttpResponse& answer, const std::string& path, const std::string& body)
{
    switch (answer.status) {
    case 200:
        return checkWhole(answer, path, body);
    case 206:
        return checkRange(answer, body);
    case 304:
    case 416:
        return require(answer.body == nullptr, "No body where there is none.");
    default:
        require(answer.status == 404 && body == "File not found.", "All else is not found.");
    }
}

void check(Site& site, const std::string& path, const StringMultimap& headers)
{
    const auto [answer, body] = site.ask(path, headers, false);
    checkBody(*answer, path, body);
    const auto [bare, nothing] = site.ask(path, headers, true);
    require(bare->status == answer->status && bare->headers == answer->headers,
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
    std::pair<std::string, std::string> paths;
    try {
        paths = http::pathsOf(target);
    } catch (const Poco::URISyntaxException&) {
        return 0;
    }
    static http::Site site;
    http::check(site, paths.first, headers); // no file outside, whoever asks
    http::check(site, paths.second, headers);
    return 0;
}

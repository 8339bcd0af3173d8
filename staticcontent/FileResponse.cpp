#include "staticcontent/FileResponse.h"

#include <limits>
#include <string_view>
#include <tuple>

#include "contract/common/Text.h"
#include "contract/http/HttpResponse.h"
#include "contract/platform/FilePublisher.h"
#include "staticcontent/ByteRange.h"
#include "staticcontent/HttpDate.h"
#include "staticcontent/MimeTypes.h"

namespace connector::http::staticcontent {

namespace {

/// The server announces lengths of at most 2^31 - 1 bytes and fails above: a larger file has no
/// body, which a subscriber would read into memory for nothing.
constexpr std::uint64_t kLargestBody = std::numeric_limits<std::int32_t>::max();

/// The text behind the last dot of the file's name.
std::wstring extensionOf(const filesystem::Path& file)
{
    const auto name = std::string_view(file).substr(file.rfind('/') + 1);
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos ? std::wstring()
                                         : common::utf8ToWide(name.substr(dot + 1));
}

/// Kept: no separator, and no quotation marks, which RFC 9110 section 8.8.3 asks for.
std::string entityTag(const filesystem::FileStatus& status)
{
    return std::to_string(status.lastWriteSeconds) + std::to_string(status.size);
}

/// @return null without such a header.
const std::string* findHeader(const StringMultimap& headers, const std::string& name)
{
    const auto found = headers.find(name);
    return found != headers.end() ? &found->second : nullptr;
}

BodyPublisher makeBody(const FoundFile& found, std::uint64_t offset, std::size_t length)
{
    return std::make_shared<filesystem::FilePublisher>(
        filesystem::FileRange{found.file, offset, length});
}

bool isNotModified(const StringMultimap& headers, const filesystem::FileStatus& status,
                   const std::string& tag)
{
    // The date comes first: one that cannot be parsed fails the request whatever the tag says.
    const auto* since = findHeader(headers, "if-modified-since");
    const auto notModified = since != nullptr && isNotLaterThan(status.lastWriteSeconds, *since);
    const auto* noneMatch = findHeader(headers, "if-none-match");
    return notModified || (noneMatch != nullptr && *noneMatch == tag);
}

} // namespace

Future<std::unique_ptr<Message>> returnFile(const HttpRequest& request, const FoundFile& found,
                                            const std::string& cacheControl, bool includeBody)
{
    StringMultimap headers;
    if (auto type = mimeTypeMap(extensionOf(found.path)); !type.empty()) {
        headers.emplace("Content-Type", std::move(type));
    }
    const auto tag = entityTag(found.status);
    headers.emplace("Last-Modified", formatHttpDate(found.status.lastWriteSeconds));
    headers.emplace("ETag", tag);
    headers.emplace("Content-Length", std::to_string(found.status.size));
    headers.emplace("Accept-Ranges", "bytes");
    if (!cacheControl.empty()) {
        headers.emplace("Cache-Control", cacheControl);
    }

    std::uint16_t status = 200;
    BodyPublisher body;
    if (isNotModified(request.headers, found.status, tag)) {
        status = 304;
    } else if (const auto* range = findHeader(request.headers, "range")) {
        std::tie(status, body) = getContentRange(found, *range, includeBody, headers);
    } else if (includeBody && found.status.size <= kLargestBody) {
        body = getContent(found);
    }
    return makeReadyFuture<std::unique_ptr<Message>>(
        std::make_unique<HttpResponse>(status, std::move(headers), StringMultimap(), body));
}

BodyPublisher getContent(const FoundFile& found)
{
    return makeBody(found, 0, found.status.size);
}

std::pair<std::uint16_t, BodyPublisher> getContentRange(const FoundFile& found,
                                                        const std::string& rangeHeader,
                                                        bool includeBody, StringMultimap& headers)
{
    const auto size = found.status.size;
    const auto range = parseByteRange(rangeHeader, size);
    if (!range) {
        headers.emplace("Content-Range", "*");
        return {416, nullptr};
    }
    const auto first = static_cast<std::uint64_t>(range->first);
    const auto length = static_cast<std::uint64_t>(range->length());
    headers.emplace("Content-Range", "bytes " + std::to_string(range->first) + "-" +
                                         std::to_string(range->last) + "/" + std::to_string(size));
    headers.erase("Content-Length");
    headers.emplace("Content-Length", std::to_string(length));
    return {206, includeBody ? makeBody(found, first, length) : nullptr};
}

} // namespace connector::http::staticcontent

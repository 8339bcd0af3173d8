#include "staticcontent/MimeTypes.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace connector::http::staticcontent {

namespace {

struct MimeType
{
    std::wstring_view extension;
    const char* type;
};

constexpr MimeType kMimeTypes[] = {
    {L"js", "text/javascript"},
    {L"css", "text/css"},
    {L"html", "text/html"},
    {L"htm", "text/html"},
    {L"png", "image/png"},
    {L"gif", "image/gif"},
    {L"jpg", "image/jpeg"},
    {L"jpeg", "image/jpeg"},
    {L"ttf", "application/x-font-ttf"},
    {L"otf", "application/x-font-opentype"},
    {L"woff", "application/font-woff"},
    {L"svg", "image/svg+xml"},
    {L"ico", "image/x-icon"},
    {L"cur", "image/x-cursor"},
    {L"json", "application/json"},
    {L"xml", "text/xml"},
    {L"txt", "text/plain"},
    {L"md", "text/plain"},
    {L"pdf", "application/pdf"},
    {L"psd", "image/vnd.adobe.photoshop"},
    {L"mp4", "video/mp4"},
    {L"webm", "video/webm"},
    {L"ogg", "audio/ogg"},
    {L"oga", "audio/ogg"},
    {L"opus", "audio/ogg"},
    {L"ogv", "video/ogg"},
};

} // namespace

std::string mimeTypeMap(const std::wstring& extension)
{
    const auto* const found = std::ranges::find(kMimeTypes, extension, &MimeType::extension);
    return found != std::end(kMimeTypes) ? found->type : std::string();
}

} // namespace connector::http::staticcontent

#include "contract/http/StaticContentMessages.h"

namespace connector::http {

AddStaticContentPath::AddStaticContentPath(const std::string& route_, const std::wstring& path_,
                                           bool enableCache_)
    : route(route_), path(path_), enableCache(enableCache_)
{}

AddStaticContentPath::~AddStaticContentPath() = default;

} // namespace connector::http

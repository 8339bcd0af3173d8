#include "contract/http/HttpRouter.h"
#include "contract/http/HttpServer.h"
#include "contract/http/HttpSessionManager.h"
#include "contract/http/StaticContentService.h"

namespace connector::http {

// Out of line, so that the type information of the interfaces has one home in the library.
HttpRouter::~HttpRouter() = default;
HttpServer::~HttpServer() = default;
HttpSessionManager::~HttpSessionManager() = default;
StaticContentService::~StaticContentService() = default;

} // namespace connector::http

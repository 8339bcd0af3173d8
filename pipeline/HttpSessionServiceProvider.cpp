#include "pipeline/HttpSessionServiceProvider.h"

#include <string>
#include <utility>
#include <vector>

#include "contract/http/HttpResponse.h"

namespace connector::http {

namespace {

const char* cookieName(bool secure)
{
    return secure ? "JSESSIONID2" : "JSESSIONID";
}

std::vector<std::string> cookieValues(const HttpRequest& request, const char* name)
{
    std::vector<std::string> values;
    const auto [begin, end] = request.cookies.equal_range(name);
    for (auto cookie = begin; cookie != end; ++cookie) {
        values.push_back(cookie->second);
    }
    return values;
}

std::string cookieOf(const std::string& sessionId, bool secure)
{
    // Kept: one of the two attributes, never both.
    return sessionId + "; Path=/" + (secure ? "; Secure" : "; HttpOnly");
}

} // namespace

HttpSessionServiceProvider::HttpSessionServiceProvider(
    std::shared_ptr<HttpSessionManager> sessionManager)
    : sessionManager_(std::move(sessionManager))
{}

Future<std::unique_ptr<Message>>
HttpSessionServiceProvider::handle(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                   std::shared_ptr<Context>&& context)
{
    const bool secure = request->baseUrl.starts_with("https://");
    auto [id, session, found] = sessionManager_->getOrCreateSession(
        cookieValues(*request, cookieName(secure)), std::move(context));
    auto reply = session->send(std::move(request), std::move(address));
    auto finish = [id = std::move(id), session = std::move(session), found = found,
                   secure](HttpSessionManager& manager, std::unique_ptr<Message>&& message) {
        auto* response = messageAs<HttpResponse>(message);
        if (response != nullptr && !found) {
            response->cookies.emplace(cookieName(secure), cookieOf(id, secure));
        }
        manager.updateSession(id, session);
        return std::move(message);
    };
    if (reply.isReady()) { // the continuation runs here and now: nothing has to be kept for it
        return reply.then([&](Future<std::unique_ptr<Message>> resolved) {
            return finish(*sessionManager_, resolved.get());
        });
    }
    return reply.then([manager = sessionManager_,
                       finish = std::move(finish)](Future<std::unique_ptr<Message>> resolved) {
        return finish(*manager, resolved.get());
    });
}

} // namespace connector::http

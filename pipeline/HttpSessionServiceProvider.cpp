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

/// The reply, with the cookie of a session that is new.
std::unique_ptr<Message> finish(Future<std::unique_ptr<Message>> reply,
                                const std::shared_ptr<HttpSessionManager>& manager,
                                const std::string& id, const std::shared_ptr<Context>& session,
                                bool isNew, bool secure)
{
    auto message = reply.get();
    auto* response = messageAs<HttpResponse>(message);
    if (response != nullptr && isNew) {
        response->cookies.emplace(cookieName(secure), cookieOf(id, secure));
    }
    manager->updateSession(id, session);
    return message;
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
    const auto [id, session, found] = sessionManager_->getOrCreateSession(
        cookieValues(*request, cookieName(secure)), std::move(context));
    return session->send(std::move(request), std::move(address))
        .thenKeeping(finish, sessionManager_, id, session, !found, secure);
}

} // namespace connector::http

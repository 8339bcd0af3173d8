#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

#include "client/ClientLimits.h"
#include "contract/common/Export.h"
#include "contract/http/HttpClientMessages.h"

namespace connector::http {

/// Carries out outgoing HTTP and HTTPS requests. Each has a connection of its own; certificates are
/// not verified. The answer's body is whole when the reply is there.
///
/// An attempt, from connecting to the head of the answer, is made up to five times: when the n-th
/// fails, n = 0 to 4, n * n seconds pass, then follows the next, or after the fifth the failure.
/// A body that breaks off is a failure at once. What `handle` throws:
///
/// | failure                           | exception                                             |
/// |-----------------------------------|-------------------------------------------------------|
/// | the URL, method or a header is    | std::invalid_argument or Poco::Exception; an          |
/// | malformed; no secure connection   | "Error creating client: " in the log for URL and      |
/// | can be prepared                   | secure connection                                     |
/// | the fifth attempt                 | std::runtime_error "Retry limit reached: " + its text |
/// | the answer's body is malformed,   | std::runtime_error or Poco::Exception; see            |
/// | too large, breaks off or takes    | ResponseReader::readBody and                          |
/// | too long                          | UpstreamConnection::receive                           |
/// | the request's token was stopped   | std::runtime_error "The request was abandoned."       |
///
/// Request headers pass as `formatRequestHead` says. Answer headers pass, names in lower case, but
/// for those of the connection (`ConnectionHeaders`) and a Content-Length that the framing
/// overrides. Set-Cookie stays among them, and gives the cookies as well.
class CONNECTOR_API PocoHttpClientServiceProvider final : public HttpClientServiceProvider
{
public:
    /// Waits between two attempts.
    /// @return false as soon as the token is stopped.
    using Wait = std::function<bool(std::chrono::milliseconds, const std::stop_token&)>;

    /// Waits on the clock.
    explicit PocoHttpClientServiceProvider(const ClientLimits& limits = {});

    explicit PocoHttpClientServiceProvider(Wait wait, const ClientLimits& limits = {});
    ~PocoHttpClientServiceProvider() override;

    /// Blocks until the answer is there: up to half a minute of waits between the attempts, and as
    /// long as the ClientLimits allow in each attempt. A stop of the request's token ends it within
    /// `kStopStep`, unless the name service is being asked for the host. Several threads may call
    /// it at once. Takes no lock.
    /// @return a ready future of an HttpClientResponse.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpClientRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const Wait wait_;
    const ClientLimits limits_;
};

} // namespace connector::http

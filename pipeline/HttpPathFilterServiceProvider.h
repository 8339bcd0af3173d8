#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/regex.hpp>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"
#include "pipeline/PathPatterns.h"

namespace connector::http {

/// Lets only requests pass whose path is on a whitelist. Takes no lock, does not block.
class CONNECTOR_API HttpPathFilterServiceProvider final : public HttpServiceProvider
{
public:
    /// @param whiteList patterns, one of which must match the whole path; an empty list refuses
    ///        every request.
    /// @param status of the refusal.
    /// @param text the body of the refusal.
    HttpPathFilterServiceProvider(std::vector<boost::regex>&& whiteList, unsigned short status,
                                  const std::string& text);

    /// The empty path, paths whose last segment has no dot, and those with one of the usual
    /// extensions of web content, in any letter case.
    static std::vector<boost::regex> defaultWhiteList();

    /// Sends the request on or answers the refusal. A path that a pattern gives up on is refused.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const pipeline::PathPatterns whiteList_;
    const unsigned short status_;
    const std::string text_;
};

} // namespace connector::http

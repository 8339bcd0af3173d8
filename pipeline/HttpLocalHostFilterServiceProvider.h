#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <boost/regex.hpp>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"
#include "contract/platform/Configuration.h"
#include "contract/streams/TypedCanceller.h"
#include "pipeline/PathPatterns.h"

namespace connector::http {

/// Lets every request of this machine pass, and of other machines only those whose path is on a
/// whitelist. The boolean setting "connector.enableLocalHostFilter" turns it off and on for the
/// requests that follow; a value of another type changes nothing. Takes no lock, does not block.
class CONNECTOR_API HttpLocalHostFilterServiceProvider final : public HttpServiceProvider
{
public:
    /// Sets the setting to true in the layer "default".
    /// @param configuration may be null: then the filter is on for good.
    /// @param whiteList patterns, one of which must match the whole path; an empty list refuses
    ///        every remote request.
    /// @param status of the refusal.
    /// @param text the body of the refusal.
    HttpLocalHostFilterServiceProvider(std::shared_ptr<configuration::Configuration> configuration,
                                       std::vector<boost::regex>&& whiteList, unsigned short status,
                                       const std::string& text);

    /// The pairing paths, the service registry lookup, and the style sheets, pages and icon that
    /// the pairing page needs. Letter case counts.
    static std::vector<boost::regex> defaultWhiteList();

    /// Sends the request on or answers the refusal. A remote path that a pattern gives up on is
    /// refused.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    [[nodiscard]] bool passes(const HttpRequest& request) const;

    const pipeline::PathPatterns whiteList_;
    const unsigned short status_;
    const std::string text_;
    /// Shared with the subscriber: a change may still reach it while the filter goes away.
    const std::shared_ptr<std::atomic<bool>> enabled_ = std::make_shared<std::atomic<bool>>(true);
    const std::shared_ptr<configuration::Configuration> configuration_;
    std::shared_ptr<reactive_streams::TypedCanceller<configuration::Value>> subscription_;
};

} // namespace connector::http

#include "pipeline/HttpLocalHostFilterServiceProvider.h"

#include <utility>

#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/CallbackSubscriber.h"

namespace connector::http {

namespace {

using configuration::Value;

constexpr const char* kEnabledKey = "connector.enableLocalHostFilter";

} // namespace

HttpLocalHostFilterServiceProvider::HttpLocalHostFilterServiceProvider(
    std::shared_ptr<configuration::Configuration> configuration,
    std::vector<boost::regex>&& whiteList, unsigned short status, const std::string& text)
    : whiteList_(std::move(whiteList)), status_(status), text_(text),
      configuration_(std::move(configuration))
{
    if (configuration_ == nullptr) {
        return;
    }
    configuration_->set(kEnabledKey, true, "default");
    subscription_ = reactive_streams::CallbackSubscriber<Value>::attach(
        *configuration_->subscribe(kEnabledKey), [enabled = enabled_](Value&& value) {
            if (const auto* isEnabled = boost::get<bool>(&value)) {
                *enabled = *isEnabled;
            }
        });
}

std::vector<boost::regex> HttpLocalHostFilterServiceProvider::defaultWhiteList()
{
    return pipeline::DefaultPatterns::kLocalHostFilter.compile();
}

Future<std::unique_ptr<Message>>
HttpLocalHostFilterServiceProvider::handle(std::unique_ptr<HttpRequest>&& request,
                                           Address&& address, std::shared_ptr<Context>&& context)
{
    if (!passes(*request)) {
        return makeReadyHttpResponse(status_, text_);
    }
    return context->send(std::move(request), std::move(address));
}

bool HttpLocalHostFilterServiceProvider::passes(const HttpRequest& request) const
{
    // The cheap questions first: any of the three lets the request pass, in whatever order.
    return !*enabled_ || request.local || whiteList_.firstMatch(request.path).has_value();
}

} // namespace connector::http

#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/regex.hpp>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"
#include "pipeline/PathPatterns.h"

namespace connector::http {

/// Adds default headers, chiefly cache control, to the answers for the paths that its rules name.
class CONNECTOR_API HttpResponseHeaderServiceProvider final : public HttpServiceProvider
{
public:
    /// A pattern for the whole path and the headers to add, name to value.
    using Rule = std::pair<boost::regex, std::unordered_multimap<std::string, std::string>>;

    /// @param rules the first one whose pattern matches applies.
    explicit HttpResponseHeaderServiceProvider(std::vector<Rule>&& rules);

    /// No caching for the empty path, for paths whose last segment has no dot and for HTML pages;
    /// 30 days for everything else. In any letter case.
    static std::vector<Rule> defaultHeaderRules();

    /// Sends the request on. If a rule applies, waits for the reply on this thread and adds the
    /// rule's headers that an HttpResponse lacks; names are compared with their letter case, and
    /// one that a rule repeats is added once. A path that a pattern gives up on has no rule. Takes
    /// no lock.
    ///
    /// The wait ends early once the request's stop token is stopped: then the future fails with
    /// std::runtime_error "The request was abandoned because its server stops." within 50 ms, and
    /// the reply is cancelled.
    /// @throws whatever the rest of the pipeline failed with, if a rule applies.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const pipeline::PathPatterns patterns_;
    const std::vector<StringMultimap> headers_; ///< Of the pattern with the same index.
};

} // namespace connector::http

#include "pipeline/PathPatterns.h"

#include <stdexcept>
#include <utility>

#include "contract/common/Log.h"
#include "contract/common/LogRateLimit.h"

namespace connector::http::pipeline {

namespace {

using common::Level;

constexpr common::Log kLog("connector::http");
constinit common::LogRateLimit givenUp; // one for the whole process, as the log

const DefaultPatterns* findDefault(const std::vector<boost::regex>& patterns)
{
    for (const auto* list : {&DefaultPatterns::kPathFilter, &DefaultPatterns::kLocalHostFilter,
                             &DefaultPatterns::kHeaderRules}) {
        if (list->equals(patterns)) {
            return list;
        }
    }
    return nullptr;
}

void logGivenUp(const boost::regex& pattern, const std::string& path)
{
    if (givenUp.admits(kLog, Level::Warning)) {
        kLog.write(Level::Warning, "Pattern gave up on a path of " + std::to_string(path.size()) +
                                       " bytes: " + pattern.str());
    }
}

} // namespace

PathPatterns::PathPatterns(std::vector<boost::regex>&& patterns)
    : patterns_(std::move(patterns)), default_(findDefault(patterns_))
{}

std::optional<std::size_t> PathPatterns::firstMatch(const std::string& path) const
{
    if (default_ != nullptr) {
        return default_->firstMatch(path);
    }
    for (std::size_t index = 0; index < patterns_.size(); ++index) {
        try {
            if (boost::regex_match(path, patterns_[index])) {
                return index;
            }
        } catch (const std::runtime_error&) {
            logGivenUp(patterns_[index], path);
            return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace connector::http::pipeline

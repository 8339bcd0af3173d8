#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <boost/regex.hpp>

#include "pipeline/DefaultPatterns.h"

namespace connector::http::pipeline {

/// An ordered list of patterns for the path of a request. Read-only after construction.
class PathPatterns
{
public:
    explicit PathPatterns(std::vector<boost::regex>&& patterns);

    /// The index of the first pattern that matches the whole of @p path.
    ///
    /// A pattern that gives up, because it backtracks beyond the library's bounds (which may take
    /// it a second), ends the search without a match: a path that was made for that must not cost
    /// the other patterns as well. It is logged as a warning.
    [[nodiscard]] std::optional<std::size_t> firstMatch(const std::string& path) const;

private:
    const std::vector<boost::regex> patterns_;
    const DefaultPatterns* const default_; ///< The default list that patterns_ is, else null.
};

} // namespace connector::http::pipeline

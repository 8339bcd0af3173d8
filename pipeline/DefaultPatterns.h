#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <boost/regex.hpp>

namespace connector::http::pipeline {

/// One of the lists of patterns that the filters and the header rules use by default, with a
/// matcher written by hand that gives the same answer as its regular expressions.
///
/// The patterns are what a list means; the matcher is there because they are run on every request.
/// For all three lists together they take 0.05 us instead of 3.1 us on "/assets/app/main.min.js",
/// and 0.1 us instead of 1.3 ms on 2 KB of dots.
class DefaultPatterns
{
public:
    static const DefaultPatterns kPathFilter;
    static const DefaultPatterns kLocalHostFilter;
    static const DefaultPatterns kHeaderRules;

    /// The regular expressions, in order.
    [[nodiscard]] std::vector<boost::regex> compile() const;

    /// Whether @p patterns are just these: the same texts, flags and order, and the classic locale,
    /// which alone fixes what "ignore case" does with bytes outside of ASCII.
    [[nodiscard]] bool equals(std::span<const boost::regex> patterns) const;

    /// The index of the first pattern that matches the whole of @p path. Takes time linear in its
    /// length.
    [[nodiscard]] std::optional<std::size_t> firstMatch(std::string_view path) const noexcept
    {
        return matcher_(path);
    }

private:
    using Matcher = std::optional<std::size_t> (*)(std::string_view path) noexcept;

    constexpr DefaultPatterns(std::span<const char* const> texts, boost::regex::flag_type flags,
                              Matcher matcher) noexcept
        : texts_(texts), flags_(flags), matcher_(matcher)
    {}

    std::span<const char* const> texts_;
    boost::regex::flag_type flags_;
    Matcher matcher_;
};

} // namespace connector::http::pipeline

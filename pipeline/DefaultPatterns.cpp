#include "pipeline/DefaultPatterns.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <locale>

namespace connector::http::pipeline {

namespace {

constexpr boost::regex::flag_type kIgnoreCase = boost::regex::perl | boost::regex::icase;

constexpr const char* kPathFilterTexts[] = {
    R"(^$)",
    R"(.*/[^/\.]*$)",
    R"(.*(\.css|\.gif|\.html|\.htm|\.ico|\.jpeg|\.jpg|\.js|\.md|\.kvapp|\.pdf|\.png|\.psd|\.svg)"
    R"(|\.ttf|\.otf|\.woff|\.cur|\.json|\.mp4|\.webm|\.ogg|\.oga|\.ogv|\.opus|\.xml|\.zip)$)",
};

constexpr const char* kLocalHostFilterTexts[] = {
    R"(^/messageservice/json/pairingkey.*$)",
    R"(^/messageservice/async/pairingkey$)",
    R"(^/serviceregistrylookup/.*$)",
    R"(^/css/[a-z]+\.css$)",
    R"(^/[a-z]+\.html$)",
    R"(^/favicon\.ico$)",
};

constexpr const char* kHeaderRulesTexts[] = {
    R"(^$|.*/[^/\.]*$|.*/[^/]*?\.html$)",
    R"(.*)",
};

constexpr char toLower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The ASCII lower-case form of up to eight characters as one number.
constexpr std::uint64_t pack(std::string_view text) noexcept
{
    std::uint64_t packed = 0;
    for (const char c : text) {
        packed = packed << 8U | static_cast<unsigned char>(toLower(c));
    }
    return packed;
}

constexpr std::size_t kLongestExtension = std::string_view(".kvapp").size();

// The dot is part of the number, so that no NUL in front of an extension is lost in it.
constexpr std::array kExtensions = {
    pack(".css"),  pack(".gif"), pack(".html"), pack(".htm"),   pack(".ico"),  pack(".jpeg"),
    pack(".jpg"),  pack(".js"),  pack(".md"),   pack(".kvapp"), pack(".pdf"),  pack(".png"),
    pack(".psd"),  pack(".svg"), pack(".ttf"),  pack(".otf"),   pack(".woff"), pack(".cur"),
    pack(".json"), pack(".mp4"), pack(".webm"), pack(".ogg"),   pack(".oga"),  pack(".ogv"),
    pack(".opus"), pack(".xml"), pack(".zip")};

/// .*/[^/\.]*$
bool lastSegmentHasNoDot(std::string_view path) noexcept
{
    const auto* slash = static_cast<const char*>(::memrchr(path.data(), '/', path.size()));
    if (slash == nullptr) {
        return false;
    }
    const auto length = static_cast<std::size_t>(path.data() + path.size() - slash);
    return std::memchr(slash, '.', length) == nullptr;
}

bool hasListedExtension(std::string_view path) noexcept
{
    const auto tail = path.substr(path.size() - std::min(path.size(), kLongestExtension));
    const auto dot = tail.rfind('.');
    return dot != std::string_view::npos &&
           std::ranges::find(kExtensions, pack(tail.substr(dot))) != kExtensions.end();
}

/// .*/[^/]*?\.html$
bool isHtmlBelowSlash(std::string_view path) noexcept
{
    constexpr std::string_view kSuffix = ".html";
    return path.size() > kSuffix.size() && path.find('/') != std::string_view::npos &&
           pack(path.substr(path.size() - kSuffix.size())) == pack(kSuffix);
}

/// prefix[a-z]+suffix, letter case included
bool isWordBetween(std::string_view path, std::string_view prefix, std::string_view suffix) noexcept
{
    if (path.size() <= prefix.size() + suffix.size() || !path.starts_with(prefix) ||
        !path.ends_with(suffix)) {
        return false;
    }
    const auto word = path.substr(prefix.size(), path.size() - prefix.size() - suffix.size());
    // To the end and in bytes: the compiler vectorises such a loop, but none with an early way out.
    unsigned char others = 0;
    for (const char c : word) {
        const bool isOther = static_cast<unsigned char>(c - 'a') > 'z' - 'a';
        others = static_cast<unsigned char>(others | static_cast<unsigned char>(isOther));
    }
    return others == 0;
}

std::optional<std::size_t> matchPathFilter(std::string_view path) noexcept
{
    if (path.empty()) {
        return 0;
    }
    if (lastSegmentHasNoDot(path)) {
        return 1;
    }
    return hasListedExtension(path) ? std::optional<std::size_t>(2) : std::nullopt;
}

std::optional<std::size_t> matchLocalHostFilter(std::string_view path) noexcept
{
    const bool matches[] = {
        path.starts_with("/messageservice/json/pairingkey"),
        path == "/messageservice/async/pairingkey",
        path.starts_with("/serviceregistrylookup/"),
        isWordBetween(path, "/css/", ".css"),
        isWordBetween(path, "/", ".html"),
        path == "/favicon.ico",
    };
    const auto* const first = std::ranges::find(matches, true);
    return first == std::end(matches)
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(first - std::begin(matches)));
}

std::optional<std::size_t> matchHeaderRules(std::string_view path) noexcept
{
    return path.empty() || lastSegmentHasNoDot(path) || isHtmlBelowSlash(path) ? 0 : 1;
}

} // namespace

constinit const DefaultPatterns DefaultPatterns::kPathFilter(kPathFilterTexts, kIgnoreCase,
                                                             &matchPathFilter);
constinit const DefaultPatterns DefaultPatterns::kLocalHostFilter(kLocalHostFilterTexts,
                                                                  boost::regex::perl,
                                                                  &matchLocalHostFilter);
constinit const DefaultPatterns DefaultPatterns::kHeaderRules(kHeaderRulesTexts, kIgnoreCase,
                                                              &matchHeaderRules);

std::vector<boost::regex> DefaultPatterns::compile() const
{
    std::vector<boost::regex> patterns;
    patterns.reserve(texts_.size());
    for (const auto* text : texts_) {
        patterns.emplace_back(text, flags_);
    }
    return patterns;
}

bool DefaultPatterns::equals(std::span<const boost::regex> patterns) const
{
    return std::ranges::equal(patterns, texts_, [this](const auto& pattern, const char* text) {
        return pattern.str() == text && pattern.flags() == flags_ &&
               pattern.getloc() == std::locale::classic();
    });
}

} // namespace connector::http::pipeline

#include "pipeline/DefaultPatterns.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

namespace connector::http::pipeline {
namespace {

using Index = std::optional<std::size_t>;

class DefaultPatternsTest : public testing::Test
{
protected:
    void compare(const std::string& path)
    {
        for (auto& [patterns, expressions, seen] : lists_) {
            Index expected;
            for (std::size_t index = 0; index < expressions.size() && !expected; ++index) {
                expected = boost::regex_match(path, expressions[index]) ? Index(index) : Index();
            }
            ASSERT_EQ(patterns.firstMatch(path), expected) << testing::PrintToString(path);
            seen.insert(expected);
        }
    }

    /// Each pattern must have been the first to match, or the paths are the wrong ones.
    void TearDown() override
    {
        for (const auto& [patterns, expressions, seen] : lists_) {
            EXPECT_GE(seen.size(), expressions.size());
        }
    }

private:
    struct List
    {
        const DefaultPatterns& patterns;
        std::vector<boost::regex> expressions = patterns.compile();
        std::set<Index> seen = {};
    };
    List lists_[3] = {{DefaultPatterns::kPathFilter},
                      {DefaultPatterns::kLocalHostFilter},
                      {DefaultPatterns::kHeaderRules}};
};

TEST_F(DefaultPatternsTest, MatchersEqualTheExpressionsOnGeneratedPaths)
{
    auto words = DefaultPatterns::kPathFilter.compile().back().str(); // every extension
    std::ranges::replace_if(
        words, [](char c) { return c != '.' && std::isalnum(c) == 0; }, ' ');
    std::istringstream text(words + " / . a z .. /css/ .HTM .jPeG / favicon /favicon.ico "
                                    "/messageservice/json/pairingkey "
                                    "/messageservice/async/pairingkey /serviceregistrylookup/");
    const std::vector<std::string> pieces{std::istream_iterator<std::string>(text), {}};
    std::mt19937 random(20240501); // NOLINT: the same paths in every run
    for (int round = 0; round < 50'000; ++round) {
        std::string path = random() % 4 == 0 ? "" : "/";
        for (auto rest = random() % (round % 1000 == 0 ? 2000 : 7); rest > 0; --rest) {
            path += random() % 4 == 0 ? std::string(1, static_cast<char>(random()))
                                      : pieces[random() % pieces.size()];
        }
        compare(path);
        std::ranges::transform(path, path.begin(), ::toupper);
        compare(path);
    }
}

TEST(DefaultPatternsEqualsTest, OnlyTheVeryListEqualsIt)
{
    const auto& list = DefaultPatterns::kPathFilter;
    auto patterns = list.compile();
    EXPECT_TRUE(list.equals(patterns));
    EXPECT_FALSE(list.equals(std::span(patterns).first(2)));
    patterns[1].assign(patterns[1].str()); // with letter case
    EXPECT_FALSE(list.equals(patterns));
}

} // namespace
} // namespace connector::http::pipeline

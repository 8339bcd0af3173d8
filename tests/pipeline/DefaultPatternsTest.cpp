#include "pipeline/DefaultPatterns.h"

#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

namespace connector::http {

/// Names the parameter in the names of the tests.
static void PrintTo(const DefaultPatterns* patterns, std::ostream* out)
{
    *out << (patterns == &DefaultPatterns::kPathFilter        ? "PathFilter"
             : patterns == &DefaultPatterns::kLocalHostFilter ? "LocalHostFilter"
                                                              : "HeaderRules");
}

namespace {

using Index = std::optional<std::size_t>;

class DefaultPatternsTest : public testing::TestWithParam<const DefaultPatterns*>
{
protected:
    void compare(const std::string& path)
    {
        Index expected;
        for (std::size_t index = 0; index < expressions_.size() && !expected; ++index) {
            expected = boost::regex_match(path, expressions_[index]) ? Index(index) : Index();
        }
        ASSERT_EQ(GetParam()->firstMatch(path), expected) << testing::PrintToString(path);
        seen_.insert(expected);
    }

    /// Each pattern must have been the first to match, or the paths are the wrong ones.
    void TearDown() override { EXPECT_GE(seen_.size(), expressions_.size()); }

private:
    const std::vector<boost::regex> expressions_ = GetParam()->compile();
    std::set<Index> seen_;
};

TEST_P(DefaultPatternsTest, MatcherEqualsTheExpressionsOneByteFromTypicalPaths)
{
    std::istringstream paths(
        "/ /app/page /css/site.css /.html x.js /a/b.KVAPP /a.b/c.Wof /css/.css "
        "/index.html /x.html/ /main.m.zip /favicon.ico /a.jpeg "
        "/messageservice/json/pairingkey /messageservice/async/pairingkey "
        "/serviceregistrylookup/a");
    for (std::string path; paths >> path;) {
        for (std::size_t at = 0; at <= path.size(); ++at) {
            compare(path.substr(0, at));
            for (int byte = 0; byte < 256; ++byte) {
                const std::string changed(1, static_cast<char>(byte));
                compare(std::string(path).insert(at, changed));
                compare(std::string(path).replace(at, 1, changed));
            }
        }
    }
}

TEST_P(DefaultPatternsTest, MatcherEqualsTheExpressionsOnGeneratedPaths)
{
    std::istringstream text("/ . a /css/ .css .html .HTM .ico .js .OGv .jpeg .kvapp .. favicon / "
                            "/favicon.ico /messageservice/json/pairingkey "
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
    }
}

INSTANTIATE_TEST_SUITE_P(Lists, DefaultPatternsTest,
                         testing::Values(&DefaultPatterns::kPathFilter,
                                         &DefaultPatterns::kLocalHostFilter,
                                         &DefaultPatterns::kHeaderRules));

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
} // namespace connector::http

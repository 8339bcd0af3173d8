#include "contract/http/PathStartsWith.h"

#include <gtest/gtest.h>

namespace connector::http {
namespace {

TEST(PathStartsWithTest, MatchesWholeSegments)
{
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"", "", true},       {"/a", "", true},      {"/a", "/a", true},   {"/a/b", "/a", true},
        {"/ab", "/a", false}, {"/a/b", "/a/", true}, {"/a", "/a/", false}, {"/a/b", "/", true},
        {"", "/", false},     {"/A", "/a", false},
    };
    for (const auto& [path, prefix, matches] : cases) {
        EXPECT_EQ(pathStartsWith(path, prefix), matches) << path << " under " << prefix;
    }
}

} // namespace
} // namespace connector::http

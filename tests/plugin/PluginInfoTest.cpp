#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace {

// The values as a loader sees them: by name, in the built file.
class PluginInfo : public testing::Test
{
protected:
    const char* valueOf(const char* name) const
    {
        return static_cast<const char*>(dlsym(library_.get(), name));
    }

private:
    struct Close
    {
        void operator()(void* library) const { dlclose(library); }
    };
    std::unique_ptr<void, Close> library_{dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL)};
};

TEST_F(PluginInfo, ValuesAreReadByName)
{
    const std::pair<const char*, const char*> table[] = {
        {"libqxconnectorhttpimpl_version", "^[0-9]+\\.[0-9]+\\.[0-9]+$"},
        {"libqxconnectorhttpimpl_build_date", "^[0-9]{4}-[0-9]{2}-[0-9]{2}$"},
        {"libqxconnectorhttpimpl_relative_path", "^libqxconnectorhttpimpl\\.so$"},
    };
    for (const auto& [name, pattern] : table) {
        SCOPED_TRACE(name);
        const char* value = valueOf(name);
        ASSERT_NE(value, nullptr);
        EXPECT_THAT(value, testing::MatchesRegex(pattern));
    }
}

} // namespace

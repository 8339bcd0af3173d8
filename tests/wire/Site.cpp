#include "tests/wire/Site.h"

namespace connector::test {

Site::Site()
{
    const std::pair<const char*, std::string> files[] = {
        {"site/index.html", "<p>index"},
        {"site/pagenotfound.html", "<p>lost"},
        {"site/ten.json", "0123456789"},
        {"site/a b.html", "<p>blank"},
        {"site/sub/index.html", "<p>sub"},
        {"site/sub/.html", "<p>dot"},
        {"site/big.mp4", std::string(kBigBytes, 'b')},
        {"docs/guide.html", "<p>guide"},
        {"secret.html", "SECRET"}};
    for (const auto& [name, content] : files) {
        directory.write(name, content);
    }
}

} // namespace connector::test

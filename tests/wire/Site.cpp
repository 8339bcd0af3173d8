#include "tests/wire/Site.h"

namespace connector::test {

namespace {

std::vector<std::string> siteArguments(const Site& site, std::vector<std::string> further)
{
    std::vector<std::string> arguments = {"--no-secure", "--content",      "/docs=" + site.docs(),
                                          "--constant",  "/ping=200,pong", "--constant",
                                          "/gone=410,",  site.path()};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

} // namespace

Site::Site()
{
    directory_.write("site/index.html", "<p>index");
    directory_.write("site/pagenotfound.html", "<p>lost");
    directory_.write("site/ten.json", "0123456789");
    directory_.write("site/a b.html", "<p>blank");
    directory_.write("site/sub/index.html", "<p>sub");
    directory_.write("site/sub/.html", "<p>dot");
    directory_.write("site/empty.css", "");
    directory_.write("site/big.mp4", std::string(kBigBytes, 'b'));
    for (const auto* extension : {"js", "css", "svg", "png", "ico", "pdf", "zip", "CSS"}) {
        directory_.write(std::string("site/type.") + extension, "x");
    }
    directory_.write("docs/guide.html", "<p>guide");
    directory_.write("secret.html", "SECRET");
}

ServedSite::ServedSite(std::vector<std::string> arguments)
    : host(kHostBinary, siteArguments(site, std::move(arguments)))
{}

} // namespace connector::test

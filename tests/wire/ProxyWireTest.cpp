#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <latch>
#include <optional>
#include <sstream>
#include <thread>

#include "tests/support/ScriptedUpstream.h"
#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string proxyTo(const std::string& route, std::uint16_t port, const char* scheme = "http")
{
    return route + "=" + scheme + "://127.0.0.1:" + std::to_string(port);
}

/// A web server that is not ours, with a directory to write to.
class Nginx
{
public:
    Nginx()
    {
        const auto path = directory_.path().string();
        const auto page = directory_.write("www/secure/page.html", "<!--# echo var=\"uri\" -->");
        std::filesystem::create_directory(directory_.path() / "www/plain");
        std::filesystem::copy(page, directory_.path() / "www/plain");
        runProgram("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -keyout " + path +
                   "/key -out " + path + "/certificate");
        std::ostringstream settings;
        settings << "daemon off; user root; error_log stderr notice; pid pid; events {} http {"
                 << "access_log off; client_max_body_size 100m; client_body_temp_path t1;"
                 << "proxy_temp_path t2; fastcgi_temp_path t3; uwsgi_temp_path t4;"
                 << "scgi_temp_path t5; ssl_certificate certificate; ssl_certificate_key key;"
                 << "server { listen 127.0.0.1:" << port << "; listen 127.0.0.1:" << securePort
                 << " ssl; root www; dav_methods PUT DELETE; location ~ page {"
                 << "ssi on; default_type text/html; add_header Set-Cookie \"a=1; HttpOnly\";}}}";
        const auto file = directory_.write("settings", settings.str());
        server_.emplace(std::vector<std::string>{
            "sh", "-c", "exec nginx -e stderr -p " + path + " -c " + file.string() + " 2>&1"});
        while (server_->readLine().find("start worker process ") == std::string::npos) {
        }
    }

    /// Killed, it would leave its worker behind.
    ~Nginx()
    {
        server_->signal(SIGTERM);
        server_->wait();
    }

    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    const std::uint16_t port = findFreePort();
    const std::uint16_t securePort = findFreePort();

private:
    TemporaryDirectory directory_;
    std::optional<ChildProcess> server_;
};

TEST(ProxyWireTest, ARealServerIsReachedThroughOneConnection)
{
    const Nginx nginx;
    HostProcess host(kHostBinary, {"--no-secure", "--proxy", proxyTo("/plain", nginx.port),
                                   "--proxy", proxyTo("/secure", nginx.securePort, "https")});
    RawClient client(host.port());
    const auto ask = [&client](const std::string& request) {
        client.send(request);
        return client.readResponse(request.starts_with("HEAD"));
    };
    std::string body;
    for (int i = 0; i < 1'000'000; ++i) {
        body += std::to_string(i) + "\n";
    }
    std::ostringstream chunk;
    chunk << std::hex << body.size() << "\r\n" << body << "\r\n0\r\n\r\n";
    const auto* chunked = "Transfer-Encoding: chunked\r\n";
    EXPECT_EQ(ask(makeRequest("PUT", "/plain/big", chunked) + chunk.str()).status, 201);
    const auto whole = ask(makeRequest("GET", "/plain/big"));
    EXPECT_TRUE(whole.body == body);
    EXPECT_EQ(ask(makeRequest("HEAD", "/plain/big")).header("content-length"),
              std::to_string(body.size()));
    const auto matching = "If-None-Match: " + whole.header("etag") + "\r\n";
    EXPECT_EQ(ask(makeRequest("GET", "/plain/big", matching)).status, 304);
    EXPECT_EQ(ask(makeRequest("DELETE", "/plain/big")).status, 204);
    for (const auto* path : {"/plain/page.html", "/secure/page.html"}) {
        const auto page = ask(makeRequest("GET", path, "Cookie: b=2\r\n")); // chunked upstream
        EXPECT_EQ(page.body, path);
        EXPECT_THAT(page.head, HasSubstr("et-cookie: a=1; HttpOnly\r\n"));
        EXPECT_THAT(page.head, Not(HasSubstr("et-Cookie: a=1")));
        EXPECT_THAT(page.head, Not(HasSubstr("ransfer-")));
    }
}

TEST(ProxyWireTest, TheHostEndsWhileUpstreamsStallAndRefuse)
{
    std::latch stalled(1);
    ScriptedUpstream upstream([&stalled](const std::string&) {
        stalled.count_down();
        return ScriptedUpstream::Answer{"", ScriptedUpstream::Then::Hold};
    });
    HostProcess host(kHostBinary,
                     {"--no-secure", "--proxy", proxyTo("/stall", upstream.port()), "--proxy",
                      proxyTo("/dead", findFreePort()), "--log-level", "warning"});
    RawClient toStall(host.port());
    RawClient toDead(host.port());
    toStall.send(makeRequest("GET", "/stall"));
    toDead.send(makeRequest("GET", "/dead"));
    stalled.wait();
    while (host.errors().find("Attempt 3 of 5") == std::string::npos) {
        std::this_thread::yield();
    }
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
}

} // namespace
} // namespace connector::test

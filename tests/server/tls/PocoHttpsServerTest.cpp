#include "server/tls/PocoHttpsServer.h"

#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/StreamCopier.h>
#include <algorithm>
#include <atomic>
#include <gmock/gmock.h>
#include <list>
#include <thread>

#include "contract/common/LogRateLimit.h"
#include "contract/common/QueuedOutput.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/messaging/LocalConnector.h"
#include "server/tls/ProbeUntilOk.h"
#include "tests/support/HostProcess.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {
namespace {

using test::runProgram;
using testing::AllOf;
using testing::HasSubstr;

/// Answers "/N" with N bytes, and anything else with the request's body.
test::FunctionProvider::Reply answer(HttpRequest& request)
{
    const auto size = std::strtoul(request.path.c_str() + 1, nullptr, 10);
    return size > 0 ? makeReadyHttpResponse(200, std::string(size, 'x'))
                    : makeReadyFuture<std::unique_ptr<Message>>(
                          std::make_unique<HttpResponse>(std::uint16_t{200}, request.body));
}

/// The size of the answer to "/" + size, for a client made of the networking library.
int getSize(std::uint16_t port, int size)
{
    using namespace Poco::Net;
    using Encryption = Poco::Net::Context;
    const Encryption::Ptr context =
        new Encryption(Encryption::CLIENT_USE, "", Encryption::VERIFY_NONE);
    HTTPSClientSession session("127.0.0.1", port, context);
    HTTPRequest request("GET", "/" + std::to_string(size), HTTPMessage::HTTP_1_1);
    session.sendRequest(request);
    HTTPResponse response;
    std::string body;
    return static_cast<int>(
        Poco::StreamCopier::copyToString(session.receiveResponse(response), body));
}

class PocoHttpsServerTest : public testing::Test
{
protected:
    PocoHttpsServerTest()
    {
        connector_->registerProvider("app", std::make_shared<test::FunctionProvider>(&answer));
        server_ = makeServer();
        server_->start();
    }

    std::shared_ptr<PocoHttpsServer> makeServer()
    {
        auto server = std::make_shared<PocoHttpsServer>(connector_, test::findFreePort());
        server->setAddress("app");
        server->setCertLocation(certificate_.wstring());
        return server;
    }

    /// What curl says that trusts the server's certificate.
    std::string curl(const std::string& target, const std::string& host = "localhost")
    {
        return runProgram("curl -sS --max-time 20 --cacert '" + certificate_.string() +
                          "' https://" + host + ":" + std::to_string(server_->getPort()) + target);
    }

    /// What OpenSSL's client says about a request for "/5".
    std::string sClient(const std::string& arguments)
    {
        return runProgram("printf 'GET /5 HTTP/1.1\\r\\nHost: h\\r\\nConnection: close\\r\\n\\r\\n'"
                          " | openssl s_client -ign_eof -CAfile '" +
                          certificate_.string() + "' -connect 127.0.0.1:" +
                          std::to_string(server_->getPort()) + " " + arguments);
    }

    const std::shared_ptr<LocalConnector> connector_ = std::make_shared<LocalConnector>();
    const test::TemporaryDirectory directory_;
    const std::filesystem::path certificate_ = directory_.path() / "certificate.pem";
    std::shared_ptr<PocoHttpsServer> server_;
};

TEST_F(PocoHttpsServerTest, ClientsThatTrustTheCertificateAreServed)
{
    EXPECT_EQ(server_->getProtocol(), "https");
    for (const auto* host : {"localhost", "127.0.0.1", "[::1]"}) {
        SCOPED_TRACE(host);
        EXPECT_EQ(curl("/5", host), "xxxxx");
    }
    EXPECT_EQ(curl("/[1-3]"), "xxxxxx") << "on one connection";
    EXPECT_EQ(curl("/20000000 | tr -d x | wc -c"), "0\n");
    const auto body = directory_.write("body", std::string(3000000, 'y')).string();
    EXPECT_EQ(curl("/ --data-binary '@" + body + "' | cmp - '" + body + "'"), "");
}

TEST(ProbeUntilOkTest, AnyExceptionIsAFailedAttempt)
{
    const test::ScopedLogCapture log;
    EXPECT_FALSE(probeUntilOk([]() -> int { throw std::runtime_error("no luck"); }));
    EXPECT_FALSE(probeUntilOk([]() -> int { throw 1; }));
    EXPECT_TRUE(log.contains("The HTTPS server does not answer: no luck"));
}

TEST_F(PocoHttpsServerTest, SpeaksTls12And13AndResumesSessions)
{
    EXPECT_THAT(sClient("-tls1_1"), HasSubstr("alert protocol version"));
    const auto file = (directory_.path() / "session").string();
    for (const std::string version : {"1.2", "1.3"}) {
        SCOPED_TRACE(version);
        const auto option = version == "1.2" ? "-tls1_2 " : "-tls1_3 ";
        const auto served = HasSubstr("\r\n\r\nxxxxx");
        EXPECT_THAT(sClient(option + ("-sess_out " + file)),
                    AllOf(HasSubstr("New, TLSv" + version), HasSubstr("return code: 0"), served));
        EXPECT_THAT(sClient(option + ("-sess_in " + file)),
                    AllOf(HasSubstr("Reused, TLSv" + version), served));
    }
}

TEST_F(PocoHttpsServerTest, WarnsOfABrowserThatCannotDoIt)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(curl("/5%0Aok%1B%C2%9B[1-200] -A 'Mozilla/5.0 Qt/5.3.0 Safari/538.1'").size(), 1000U);
    EXPECT_TRUE(common::QueuedOutput::flush(std::chrono::seconds(20)));
    const auto output = testing::internal::GetCapturedStdout();
    EXPECT_THAT(output, testing::StartsWith(
                            "Unsupported SSL connection from QtWebKit (see g1421641) detected for "
                            "path: /5\\nok\\x1B\\xC2\\x9B1, user agent was: Mozilla/5.0 Qt/5.3.0 "
                            "Safari/538.1\nUnsupported"));
    EXPECT_EQ(std::ranges::count(output, '\n'), common::LogRateLimit::kRecordsPerMinute);
}

TEST_F(PocoHttpsServerTest, HandshakesThatNeverFinishHoldNeitherOthersNorTheStop)
{
    std::list<test::RawClient> clients;
    for (unsigned i = 0; i < 20; ++i) {
        clients.emplace_back(server_->getPort()).send({"\x16\x03\x01\x02", i % 5UL});
    }
    EXPECT_EQ(curl("/5"), "xxxxx");
    server_->stop();
    for (auto& client : clients) {
        EXPECT_EQ(client.readUntilClosed(), "");
    }
}

TEST_F(PocoHttpsServerTest, StopOfOneServerLeavesTheOtherServing)
{
    std::atomic<bool> done = false;
    std::atomic<int> served = 0;
    std::atomic<int> failed = 0;
    std::atomic<int> disturbed = 0;
    const auto load = [&done](const std::shared_ptr<PocoHttpsServer>& server, auto& good,
                              auto& bad) {
        while (!done) {
            try {
                ++(getSize(server->getPort(), 100000) == 100000 ? good : bad);
            } catch (const Poco::Exception&) {
                ++bad;
            }
        }
    };
    const auto other = makeServer();
    {
        const std::jthread steady([&] { load(server_, served, failed); });
        const std::jthread unsteady([&] { load(other, disturbed, disturbed); });
        for (int i = 0; i < 3; ++i) {
            other->start();
            EXPECT_EQ(getSize(other->getPort(), 100000), 100000);
            other->stop();
        }
        done = true;
    }
    EXPECT_EQ(failed, 0);
    EXPECT_GT(served, 0);
    EXPECT_GT(disturbed, 0);

    server_->stop(); // the last one takes the library down, as far as the process lets it
    server_->start();
    EXPECT_EQ(curl("/5"), "xxxxx");
}

} // namespace
} // namespace connector::http

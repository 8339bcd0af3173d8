#include "server/tls/PocoHttpsServer.h"

#include <Poco/AutoPtr.h>
#include <Poco/Crypto/RSAKey.h>
#include <Poco/Crypto/X509Certificate.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/StreamCopier.h>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "contract/common/Thread.h"
#include "server/BindListeningSocket.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"
#include "server/ServerParameters.h"
#include "server/tls/ErrorQueueScope.h"
#include "server/tls/ProbeUntilOk.h"
#include "server/tls/ServerIdentity.h"
#include "server/tls/TlsTransport.h"
#include "server/tls/certutils.h"

namespace connector::http {

namespace {

using common::Level;
using Poco::Net::Context;

constexpr const char* kCipherList = "ALL:!ADH:!LOW:!EXP:!MD5:@STRENGTH";
constexpr int kVerificationDepth = 9;
/// The library's own order begins with X448, several times the work of the others.
constexpr const char* kKeyExchangeGroups = "X25519:P-256:X448:P-384:P-521";
/// Clients that keep no tickets resume from the server's own memory.
constexpr std::size_t kRememberedSessions = 1024;
constexpr long kSessionLifetimeSeconds = 3600;
constexpr const char* kSessionIdContext = "connector";

Context::Ptr makeContext(Context::Usage usage)
{
    constexpr bool kLoadDefaultCAs = true;
    return new Context(usage, "", "", "", Context::VERIFY_NONE, kVerificationDepth, kLoadDefaultCAs,
                       kCipherList);
}

Context::Ptr makeServerContext()
{
    auto context = makeContext(Context::SERVER_USE);
    context->requireMinimumProtocol(Context::PROTO_TLSV1_2);
    context->preferServerCiphers();
    SSL_CTX_set1_groups_list(context->sslContext(), kKeyExchangeGroups);
    context->enableSessionCache(true, kSessionIdContext);
    context->setSessionCacheSize(kRememberedSessions);
    context->setSessionTimeout(kSessionLifetimeSeconds);
    return context;
}

void useIdentity(Context& context, const ServerIdentity& identity)
{
    const ErrorQueueScope errors;
    std::istringstream key(certutils::convertPrivateKeyPartToString(identity.key.get()));
    const Poco::Crypto::RSAKey rsaKey(nullptr, &key, "");
    constexpr bool kShared = true;
    context.useCertificate(Poco::Crypto::X509Certificate(identity.certificate.get(), kShared));
    context.usePrivateKey(rsaKey);
}

/// Sends a request to the server at @p port of this machine. @return the status of the answer.
int probe(unsigned short port)
{
    Poco::Net::HTTPSClientSession session("127.0.0.1", port, makeContext(Context::CLIENT_USE));
    session.setTimeout(toTimespan(kProbeTimeout));
    Poco::Net::HTTPRequest request("GET", "/", Poco::Net::HTTPMessage::HTTP_1_1);
    request.setKeepAlive(true);
    session.sendRequest(request);
    Poco::Net::HTTPResponse response;
    std::string body;
    Poco::StreamCopier::copyToString(session.receiveResponse(response), body);
    session.socket().close();
    return response.getStatus();
}

/// The library's own start-up and its end are not meant for several threads at once.
std::mutex libraryMutex;

} // namespace

std::mutex PocoHttpsServer::sslTakeMutex;
std::mutex PocoHttpsServer::sslMutex;
Poco::AutoPtr<Context> PocoHttpsServer::sslContext;
bool PocoHttpsServer::sslTriggered = false;
std::thread PocoHttpsServer::sslThread;
std::atomic<bool> PocoHttpsServer::sslLibraryInitialized = false;

/// Keeps the library started up for the rest of the process, so that no server that stops takes it
/// from another; and ends a preparation that nobody took, before the library's own end.
class PocoHttpsServer::ProcessHold
{
public:
    ProcessHold()
    {
        const std::lock_guard lock(libraryMutex);
        Poco::Net::initializeSSL();
    }

    ~ProcessHold()
    {
        if (sslThread.joinable()) {
            sslThread.join();
        }
        sslContext = nullptr;
    }

    ProcessHold(const ProcessHold&) = delete;
    ProcessHold& operator=(const ProcessHold&) = delete;
};

PocoHttpsServer::PocoHttpsServer(std::shared_ptr<Connector> connector, unsigned short port,
                                 const ServerLimits& limits)
    : PocoHttpServer(std::move(connector), port, limits)
{}

PocoHttpsServer::~PocoHttpsServer()
{
    // Here, since requests that still run call what this class overrides.
    try {
        PocoHttpsServer::stop();
    } catch (const std::exception& failure) {
        kServerLog.write(Level::Error,
                         std::string("Error while a server was destroyed: ") + failure.what());
    }
}

void PocoHttpsServer::start()
{
    if (!isStarted()) {
        requireUsableServerIdentity(getCertLocation()); // once, not for each port that is tried
    }
    initializeConnectorSSL();
    doServerStart();
}

void PocoHttpsServer::stop()
{
    doServerStop();
    if (sslLibraryInitialized.exchange(false)) {
        const std::lock_guard lock(libraryMutex);
        Poco::Net::uninitializeSSL();
    }
}

std::string PocoHttpsServer::getProtocol()
{
    return "https";
}

void PocoHttpsServer::initializeConnectorSSL()
{
    static const ProcessHold hold;
    const std::lock_guard lock(sslMutex);
    if (!sslTriggered) {
        kServerLog.write(Level::Debug, "Creating initializeConnectorSSL thread");
        sslThread = common::startThread("ssl-prepare", doInitializeConnectorSSL);
        sslTriggered = true;
    }
}

void PocoHttpsServer::doInitializeConnectorSSL()
{
    try {
        if (!sslLibraryInitialized.exchange(true)) {
            const std::lock_guard lock(libraryMutex);
            Poco::Net::initializeSSL();
        }
        auto context = makeServerContext();
        const std::lock_guard lock(sslMutex);
        sslContext = std::move(context);
    } catch (const Poco::Exception& failure) {
        kServerLog.write(Level::Error, "Error in ssl initialization:" + failure.displayText());
    } catch (const std::exception& failure) {
        kServerLog.write(Level::Error,
                         std::string("Error in ssl initialization:") + failure.what());
    } catch (...) {
        kServerLog.write(Level::Error, "Unknown error in ssl initialization.");
    }
}

Poco::AutoPtr<Context> PocoHttpsServer::getSSLContext()
{
    const std::lock_guard takeLock(sslTakeMutex);
    initializeConnectorSSL();
    std::thread preparing;
    {
        const std::lock_guard lock(sslMutex);
        preparing = std::move(sslThread);
    }
    if (preparing.joinable()) {
        preparing.join();
    }
    const std::lock_guard lock(sslMutex);
    sslTriggered = false;
    return std::exchange(sslContext, nullptr);
}

std::unique_ptr<Poco::Net::ServerSocket> PocoHttpsServer::createServerSocket(unsigned short port)
{
    auto context = getSSLContext();
    if (context.isNull()) {
        throw std::runtime_error("SSL context not available, unable to start HTTPS server");
    }
    useIdentity(*context, loadOrMakeServerIdentity(certLocation()));
    auto socket = bindListeningSocket(
        port, [&context] { return std::make_unique<Poco::Net::SecureServerSocket>(context); });
    setTransport([context](int descriptor) {
        return std::make_unique<TlsTransport>(context->sslContext(), descriptor);
    });
    socket->setNoDelay(true);
    return socket;
}

bool PocoHttpsServer::waitForRunning(unsigned short port)
{
    kServerLog.write(Level::Trace, "Waiting for the HTTPS server to answer.");
    return probeUntilOk([port] { return probe(port); });
}

} // namespace connector::http

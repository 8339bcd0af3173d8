#include "server/PocoHttpServer.h"

#include <Poco/Net/DNS.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HostEntry.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/StreamCopier.h>
#include <Poco/ThreadPool.h>
#include <Poco/Timespan.h>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "server/BindListeningSocket.h"
#include "server/PocoRequestHandlerFactory.h"
#include "server/ServerLog.h"
#include "server/ServerParameters.h"
#include "server/http/HttpService.h"
#include "server/net/EventLoop.h"
#include "server/net/Transport.h"

namespace connector::http {

namespace {

using common::Level;

/// How long the availability check waits for somebody to accept.
constexpr Poco::Timespan::TimeDiff kAvailabilityTimeoutUs = 10000;

/// The server whose request this thread serves.
thread_local PocoHttpServer* servedServer = nullptr;

} // namespace

PocoHttpServer::RequestScope::RequestScope(PocoHttpServer& server) : server_(server)
{
    const std::lock_guard lock(server_.stateMutex_);
    state_ = server_.state_;
    if (isRunning()) {
        server_.incrementActiveRequests();
        server_.incrementTotalRequests();
        address = server_.address_;
        stopToken = server_.stopSources_.mine().get_token();
    }
}

PocoHttpServer::RequestScope::~RequestScope()
{
    if (isRunning()) {
        const std::lock_guard lock(server_.stateMutex_);
        server_.decrementActiveRequests();
    }
}

PocoHttpServer::ServedThread::ServedThread(PocoHttpServer& server) noexcept
    : outer_(std::exchange(servedServer, &server))
{}

PocoHttpServer::ServedThread::~ServedThread()
{
    servedServer = outer_;
}

PocoHttpServer::PocoHttpServer(std::shared_ptr<Connector> connector, unsigned short port,
                               const ServerLimits& limits)
    : connector_(std::move(connector)), limits_(limits), port_(port)
{}

PocoHttpServer::~PocoHttpServer()
{
    try {
        doServerStop();
    } catch (const std::exception& failure) { // two records, since joining them needs memory
        kServerLog.write(Level::Error, "Error while a server was destroyed:");
        kServerLog.write(Level::Error, failure.what());
    }
}

void PocoHttpServer::start()
{
    doServerStart();
}

void PocoHttpServer::stop()
{
    doServerStop();
}

bool PocoHttpServer::isRunning()
{
    const std::lock_guard lock(stateMutex_);
    return state_ == State::Running;
}

bool PocoHttpServer::isStarted()
{
    const std::lock_guard lock(stateMutex_);
    return state_ != State::Stopped;
}

void PocoHttpServer::setAddress(const Address& address)
{
    const std::lock_guard lock(stateMutex_);
    address_ = address;
}

Address PocoHttpServer::getAddress()
{
    const std::lock_guard lock(stateMutex_);
    return address_;
}

void PocoHttpServer::setPort(unsigned short port)
{
    const std::lock_guard lock(stateMutex_);
    if (state_ != State::Stopped) {
        throw std::runtime_error("Port can not be changed while the server is started.");
    }
    port_ = port;
}

unsigned short PocoHttpServer::getPort()
{
    std::unique_lock startLock(startMutex_, std::defer_lock);
    if (!servesThisThread()) { // a stop holds the mutex while it waits for this very thread
        startLock.lock();
    }
    const std::lock_guard lock(stateMutex_);
    return state_ == State::Running ? serverSocket_->address().port() : port_;
}

void PocoHttpServer::setSocketAddress(const std::string& socketAddress)
{
    const std::lock_guard lock(stateMutex_);
    if (state_ != State::Stopped) {
        throw std::runtime_error(
            "The socket address can not be changed while the server is started.");
    }
    socketAddress_ = socketAddress;
}

std::string PocoHttpServer::getSocketAddress()
{
    const std::lock_guard lock(stateMutex_);
    return state_ == State::Running ? serverSocket_->address().host().toString() : socketAddress_;
}

std::string PocoHttpServer::getDnsName()
{
    {
        const std::lock_guard lock(stateMutex_);
        if (!dnsName_.empty()) {
            return dnsName_;
        }
    }
    std::string name;
    try {
        name = Poco::Net::DNS::thisHost().name();
    } catch (const Poco::Exception&) {
        name = Poco::Net::DNS::hostName(); // a machine that no name service knows
    }
    const std::lock_guard lock(stateMutex_);
    dnsName_ = std::move(name);
    return dnsName_;
}

std::string PocoHttpServer::getRoutableAddress()
{
    {
        const std::lock_guard lock(stateMutex_);
        if (!routableAddress_.empty()) {
            return routableAddress_;
        }
    }
    std::string found;
    try {
        const auto thisHost = Poco::Net::DNS::thisHost();
        for (const auto& address : thisHost.addresses()) {
            found = address.toString();
            if (address.isIPv4Mapped()) {
                break;
            }
        }
    } catch (const Poco::Exception& failure) {
        kServerLog.write(Level::Info, "No routable address: " + failure.displayText());
    }
    if (found.empty()) {
        return getSocketAddress();
    }
    const std::lock_guard lock(stateMutex_);
    routableAddress_ = std::move(found);
    return routableAddress_;
}

std::string PocoHttpServer::getProtocol()
{
    return "http";
}

std::shared_ptr<HttpServer> PocoHttpServer::getPtr()
{
    return shared_from_this();
}

void PocoHttpServer::setCertLocation(const std::wstring& certLocation)
{
    const std::lock_guard lock(stateMutex_);
    certLocation_ = certLocation;
}

std::wstring PocoHttpServer::getCertLocation()
{
    const std::lock_guard lock(stateMutex_);
    return certLocation_;
}

std::uint16_t PocoHttpServer::getActiveRequests()
{
    const std::lock_guard lock(stateMutex_);
    return activeRequests_;
}

std::uint64_t PocoHttpServer::getTotalRequests()
{
    const std::lock_guard lock(stateMutex_);
    return totalRequests_;
}

std::unique_ptr<Poco::Net::ServerSocket> PocoHttpServer::createServerSocket(unsigned short port)
{
    auto socket =
        bindListeningSocket(port, [] { return std::make_unique<Poco::Net::ServerSocket>(); });
    socket->setNoDelay(true);
    socket->setLinger(false, 0);
    return socket;
}

bool PocoHttpServer::waitForRunning(unsigned short port)
{
    kServerLog.write(Level::Trace, "Waiting for the HTTP server to answer.");
    try {
        Poco::Net::HTTPClientSession session("127.0.0.1", port);
        session.setTimeout(toTimespan(kProbeTimeout));
        Poco::Net::HTTPRequest request("GET", "/", Poco::Net::HTTPMessage::HTTP_1_1);
        request.setKeepAlive(true);
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        std::string body;
        Poco::StreamCopier::copyToString(session.receiveResponse(response), body);
        session.socket().close();
        return true;
    } catch (const Poco::Exception& failure) {
        kServerLog.write(Level::Warning,
                         "The HTTP server does not answer: " + failure.displayText());
        return false;
    }
}

void PocoHttpServer::checkPortAvailability(unsigned short port)
{
    Poco::Net::StreamSocket socket;
    try {
        socket.connect(Poco::Net::SocketAddress("127.0.0.1", port),
                       Poco::Timespan(kAvailabilityTimeoutUs));
    } catch (const Poco::Exception&) {
        return; // nobody listens
    }
    socket.close();
    throw std::runtime_error("Port in use: " + std::to_string(port));
}

void PocoHttpServer::doServerStart()
{
    if (servesThisThread()) {
        return; // its request proves that the server is started
    }
    const std::lock_guard startLock(startMutex_);
    std::unique_lock stateLock(stateMutex_);
    if (state_ != State::Stopped) {
        return;
    }
    auto port = port_ == 0 ? kDefaultPort : port_;
    threadPool_ = std::make_unique<Poco::ThreadPool>("Connector", kMinThreads, kMaxThreads,
                                                     static_cast<int>(kPoolThreadIdleTime.count()));
    service_ = std::make_unique<HttpService>(HttpService{
        limits_, makeServerParameters(), std::make_unique<PocoRequestHandlerFactory>(*this)});
    stopSources_ = {};
    state_ = State::Starting;
    std::string lastError;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        try {
            if (doListen(stateLock, port)) {
                state_ = State::Running;
                return;
            }
            lastError = "Could not connect to localhost.";
            break;
        } catch (const Poco::Exception& failure) {
            lastError = failure.displayText();
        } catch (const std::exception& failure) {
            lastError = failure.what();
        } catch (...) {
            lastError = "Unknown exception.";
        }
        ++port; // Kept: after the last attempt the text below names a port that was not tried.
    }
    state_ = State::Stopped;
    stateLock.unlock();
    endListener();
    throw std::runtime_error("Did not start the server. Last testPort tried: " +
                             std::to_string(port) + ".\n" + lastError);
}

void PocoHttpServer::doServerStop()
{
    if (servesThisThread()) {
        throw std::logic_error("A server can not be stopped from one of its own requests.");
    }
    const std::lock_guard startLock(startMutex_);
    const auto leaveRunning = [this] {
        const std::lock_guard lock(stateMutex_);
        state_ = State::Stopped;
        return stopSources_;
    };
    for (auto& [source] : leaveRunning()) {
        source.request_stop(); // what watches the token is called with no state lock held
    }
    endListener();
}

std::stop_token PocoHttpServer::currentStopToken()
{
    if (servedServer == nullptr) {
        return {};
    }
    const std::lock_guard lock(servedServer->stateMutex_);
    return servedServer->stopSources_.mine().get_token();
}

bool PocoHttpServer::servesThisThread() const
{
    return servedServer == this;
}

bool PocoHttpServer::doListen(std::unique_lock<std::mutex>& stateLock, unsigned short port)
{
    checkPortAvailability(port);
    makeTransport_ = net::makePlainTransport;
    serverSocket_ = createServerSocket(port);
    stateLock.unlock();
    try {
        startLoop();
        const auto answers = waitForRunning(port);
        stateLock.lock();
        return answers;
    } catch (...) {
        endLoop(); // the next attempt makes its own
        stateLock.lock();
        throw;
    }
}

} // namespace connector::http

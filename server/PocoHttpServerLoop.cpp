#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <system_error>

#include "server/PocoHttpServer.h"
#include "server/http/HttpConnection.h"
#include "server/http/HttpService.h"
#include "server/net/EventLoop.h"
#include "server/net/Listener.h"

/// The event loop of a server, from its start to its end.
namespace connector::http {

namespace {

/// How often a stop tells connections that were accepted meanwhile.
constexpr std::chrono::milliseconds kStopStep{20};

} // namespace

void PocoHttpServer::startLoop()
{
    serverSocket_->setBlocking(false);
    loop_ = std::make_shared<net::EventLoop>(
        *threadPool_, net::EventLoopSettings{.maxThreads = kMaxThreads,
                                             .maxSessions = limits_.maxConnections + 1});
    loop_->start();
    const auto descriptor = ::fcntl(serverSocket_->impl()->sockfd(), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    loop_->add(std::make_unique<net::Listener>(
        descriptor, limits_.maxConnections + 1,
        [makeTransport = makeTransport_, service = service_.get()](int accepted, const auto& peer) {
            return std::make_unique<HttpConnection>(accepted, peer, makeTransport(accepted),
                                                    *service);
        }));
}

void PocoHttpServer::endListener()
{
    endLoop();
    if (threadPool_ != nullptr) {
        threadPool_->stopAll();
        threadPool_.reset();
    }
}

void PocoHttpServer::endLoop()
{
    if (loop_ != nullptr) {
        do { // again, since a connection may have been accepted meanwhile
            loop_->raiseAll(net::kStop);
        } while (!loop_->waitForAtMost(0, kStopStep));
        loop_->stop();
    }
    if (threadPool_ != nullptr) {
        threadPool_->joinAll();
    }
    const std::lock_guard lock(stateMutex_);
    if (serverSocket_ != nullptr) {
        serverSocket_->close();
    }
    loop_.reset();
    serverSocket_.reset();
}

} // namespace connector::http

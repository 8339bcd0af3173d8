#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <sys/resource.h>
#include <utility>

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

/// Descriptors that connections leave to files, upstreams and the rest of the process.
constexpr std::size_t kReservedDescriptors = 200;

/// How many connections the process has descriptors for.
std::size_t allowedConnections()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return std::numeric_limits<std::uint32_t>::max();
    }
    return std::max<std::size_t>(limit.rlim_cur, 2 * kReservedDescriptors) - kReservedDescriptors;
}

} // namespace

void PocoHttpServer::startLoop()
{
    serverSocket_->setBlocking(false);
    // The listening socket is a session as well.
    const auto maxSessions = std::min(limits_.maxConnections, allowedConnections()) + 1;
    loop_ = std::make_shared<net::EventLoop>(
        *threadPool_,
        net::EventLoopSettings{.maxThreads = kMaxThreads, .maxSessions = maxSessions});
    loop_->start();
    loop_->add(std::make_unique<net::Listener>(
        common::FileDescriptor::require(
            ::fcntl(serverSocket_->impl()->sockfd(), F_DUPFD_CLOEXEC, 0)),
        maxSessions,
        [makeTransport = makeTransport_, service = service_.get()](
            common::FileDescriptor accepted, const Poco::Net::SocketAddress& peer) {
            auto transport = makeTransport(accepted.get());
            return std::make_unique<HttpConnection>(std::move(accepted), peer, std::move(transport),
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
    closeServerSocket();
    if (loop_ != nullptr) {
        do { // again, since a connection may have been accepted meanwhile
            loop_->raiseAll(net::kStop);
        } while (!loop_->waitForAtMost(0, kStopStep));
        loop_->stop();
    }
    if (threadPool_ != nullptr) {
        threadPool_->joinAll();
    }
    loop_.reset();
}

void PocoHttpServer::closeServerSocket()
{
    const std::lock_guard lock(stateMutex_);
    if (serverSocket_ != nullptr) {
        serverSocket_->close();
        serverSocket_.reset();
    }
}

} // namespace connector::http

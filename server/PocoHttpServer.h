#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <utility>

#include "contract/common/Export.h"
#include "contract/common/ProcessorSlots.h"
#include "contract/http/HttpServer.h"
#include "contract/messaging/Connector.h"
#include "server/ServerLimits.h"

namespace Poco {
class ThreadPool;
namespace Net {
class ServerSocket;
} // namespace Net
} // namespace Poco

namespace connector::http {

struct HttpService;
namespace net {
class EventLoop;
class Transport;
} // namespace net

/// One HTTP listener on one port. Every request goes as an HttpRequest to the server's address.
///
/// Any thread may call any operation, those of the server's own requests included: there `start`
/// does nothing and `stop` is refused, since it would wait for itself. Not to be destroyed by one
/// of its own requests.
///
/// Locks: `startMutex_` before `stateMutex_`. A request takes `stateMutex_` alone.
class CONNECTOR_API PocoHttpServer : public HttpServer
{
public:
    /// A stopped server.
    /// @param port the port to listen on; 0 stands for the default port, 31415.
    PocoHttpServer(std::shared_ptr<Connector> connector, unsigned short port,
                   const ServerLimits& limits = {});

    /// Stops the server if need be.
    ~PocoHttpServer() override;

    /// Listens on the port, or on the first free one above it, 500 at most. Blocks until the server
    /// answers its own request.
    /// @throws std::runtime_error "Did not start the server. Last testPort tried: " + port + ".\n"
    /// +
    ///         the last error. The server is stopped then.
    void start() override;

    /// Has `HttpRequest::stopToken` stopped, gives open WebSockets a quarter of a second to close,
    /// ends every other connection with a reset, and waits for every request to return: usually a
    /// tenth of a second, and as long as a provider blocks its thread.
    /// @throws std::logic_error "A server can not be stopped from one of its own requests."
    void stop() override;

    bool isRunning() override;
    bool isStarted() override;
    void setAddress(const Address& address) override;
    Address getAddress() override;

    /// @throws std::runtime_error "Port can not be changed while the server is started."
    void setPort(unsigned short port) override;

    /// Waits for a start or a stop that is under way.
    unsigned short getPort() override;

    /// @throws std::runtime_error "The socket address can not be changed while the server is
    ///         started."
    void setSocketAddress(const std::string& socketAddress) override;
    std::string getSocketAddress() override;

    /// Asks the name service once; blocks meanwhile. The bare host name where that knows none.
    std::string getDnsName() override;

    /// Asks the name service until it has an answer; blocks meanwhile.
    std::string getRoutableAddress() override;

    std::string getProtocol() override;
    std::shared_ptr<HttpServer> getPtr() override;
    void setCertLocation(const std::wstring& certLocation) override;
    std::wstring getCertLocation() override;

    /// The stop token of the server whose request the calling thread serves: for those who block in
    /// a request that they do not see. On any other thread a token that is never stopped.
    static std::stop_token currentStopToken();

    /// Requests in progress.
    std::uint16_t getActiveRequests();
    /// Requests accepted since construction; the server's own probes are not counted.
    std::uint64_t getTotalRequests();

protected:
    /// Makes the listening socket. Called with `stateMutex_` held, so it must not call the getters.
    /// @throws Poco::Exception when the port can't be bound.
    virtual std::unique_ptr<Poco::Net::ServerSocket> createServerSocket(unsigned short port);

    /// Asks the server for "/", without a lock held. An exception that is not POCO's comes out: its
    /// text becomes the last error of the start, which goes on to the next port.
    /// @return whether it answered.
    virtual bool waitForRunning(unsigned short port);

    /// @throws std::runtime_error "Port in use: " + port when somebody accepts connections there.
    static void checkPortAvailability(unsigned short port);

    void doServerStart();
    void doServerStop();

    /// Where `createServerSocket` finds what the locking getters guard.
    const std::wstring& certLocation() const { return certLocation_; }

    /// Makes the byte stream of an accepted connection.
    using MakeTransport = std::function<std::unique_ptr<net::Transport>(int descriptor)>;

    /// To be called by `createServerSocket` if its connections are not plain.
    void setTransport(MakeTransport makeTransport) { makeTransport_ = std::move(makeTransport); }

private:
    friend class PocoRequestHandler;
    friend class RequestExchange;

    enum class State
    {
        Stopped,
        Starting,
        Running
    };

    /// Counts a request while it is served. Takes what a request needs of the server under one
    /// lock, since all threads contend for it.
    class RequestScope
    {
    public:
        explicit RequestScope(PocoHttpServer& server);
        ~RequestScope();
        RequestScope(const RequestScope&) = delete;
        RequestScope& operator=(const RequestScope&) = delete;

        /// Only then the request is counted.
        [[nodiscard]] bool isRunning() const noexcept { return state_ == State::Running; }
        /// The request is the server's own probe.
        [[nodiscard]] bool isStarting() const noexcept { return state_ == State::Starting; }

        Address address;           ///< Where the request goes.
        std::stop_token stopToken; ///< Tells it that the server stops.

    private:
        PocoHttpServer& server_;
        State state_;
    };

    /// Marks the calling thread as one that runs a request of the server.
    class ServedThread
    {
    public:
        explicit ServedThread(PocoHttpServer& server) noexcept;
        ~ServedThread();
        ServedThread(const ServedThread&) = delete;
        ServedThread& operator=(const ServedThread&) = delete;

    private:
        PocoHttpServer* const outer_;
    };

    const std::shared_ptr<Connector>& getConnector() const { return connector_; }
    // The three are called with stateMutex_ held.
    void incrementActiveRequests() noexcept { ++activeRequests_; }
    void decrementActiveRequests() noexcept { --activeRequests_; }
    void incrementTotalRequests() noexcept { ++totalRequests_; }
    bool servesThisThread() const;

    /// Listens on @p port and probes; lets go of the lock around the probe. What the probe throws
    /// comes out once the listener has ended.
    /// @return whether the server answered.
    bool doListen(std::unique_lock<std::mutex>& stateLock, unsigned short port);
    // The two are called with startMutex_ held alone.
    /// Ends the listener and every thread of it.
    void endListener();
    void startLoop();
    /// The same, but for the threads of the pool that have nothing to do.
    void endLoop();
    void closeServerSocket();

    const std::shared_ptr<Connector> connector_;
    const ServerLimits limits_;

    std::mutex startMutex_; ///< Serialises start, stop and `getPort`; guards the next three.
    std::unique_ptr<Poco::ThreadPool> threadPool_; ///< Destroyed after the loop, which uses it.
    std::shared_ptr<net::EventLoop> loop_;
    std::unique_ptr<HttpService> service_;

    std::mutex stateMutex_; ///< Guards all below.
    std::unique_ptr<Poco::Net::ServerSocket> serverSocket_;
    MakeTransport makeTransport_;
    /// Stopped one after the other. A token counts itself with its source, which all requests would
    /// fight for if there were but one.
    common::ProcessorSlots<std::stop_source> stopSources_;
    Address address_;
    std::string socketAddress_;
    std::string dnsName_;         ///< Empty until first asked for.
    std::string routableAddress_; ///< Empty until first asked for.
    std::wstring certLocation_;
    unsigned short port_;
    State state_ = State::Stopped;
    std::uint16_t activeRequests_ = 0;
    std::uint64_t totalRequests_ = 0;
};

} // namespace connector::http

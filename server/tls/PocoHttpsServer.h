#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "contract/common/Export.h"
#include "server/PocoHttpServer.h"

namespace Poco {
template <class C>
class AutoPtr;
namespace Net {
class Context;
} // namespace Net
} // namespace Poco

namespace connector::http {

/// A server that speaks HTTP over TLS 1.2 and 1.3, with session resumption. It identifies itself by
/// the certificate at `getCertLocation` and the private key beside it, and makes both where there
/// are none (see loadOrMakeServerIdentity).
///
/// The context of the encryption takes long to make, so a thread prepares it in advance; each
/// serves one start.
///
/// Locks: `sslTakeMutex` before `sslMutex`, and both after those of the base.
class CONNECTOR_API PocoHttpsServer : public PocoHttpServer
{
public:
    /// A stopped server.
    /// @param port the port to listen on; 0 stands for the default port, 31415.
    PocoHttpsServer(std::shared_ptr<Connector> connector, unsigned short port,
                    const ServerLimits& limits = {});

    /// Stops the server if need be.
    ~PocoHttpsServer() override;

    /// As the base does it. The failures that it may report also are "SSL context not available,
    /// unable to start HTTPS server" and those of certutils.
    /// @throws std::runtime_error also that of requireUsableServerIdentity, before it listens.
    void start() override;

    /// As the base does it. Other secure servers go on.
    void stop() override;

    std::string getProtocol() override;

    /// Starts preparing the context for the next start, unless one is prepared or in preparation.
    /// May be called early, to have it by then. Does not block.
    static void initializeConnectorSSL();

    /// Prepares a context; what the thread of `initializeConnectorSSL` does. A failure is logged
    /// and leaves no context.
    static void doInitializeConnectorSSL();

protected:
    /// @throws std::runtime_error see `start`.
    std::unique_ptr<Poco::Net::ServerSocket> createServerSocket(unsigned short port) override;

    /// Asks up to 100 times, without a pause, until the answer has the status 200.
    bool waitForRunning(unsigned short port) override;

private:
    class ProcessHold;

    /// Takes the prepared context, and prepares one first if there is none. Blocks meanwhile.
    /// @return null if the preparation failed.
    static Poco::AutoPtr<Poco::Net::Context> getSSLContext();

    /// One server takes its context at a time; held while the thread is joined.
    static std::mutex sslTakeMutex;
    static std::mutex sslMutex; ///< Guards the three below.
    static Poco::AutoPtr<Poco::Net::Context> sslContext;
    static bool sslTriggered; ///< A preparation has begun whose context was not taken yet.
    static std::thread sslThread;
    /// The library was started up and this was not undone yet.
    static std::atomic<bool> sslLibraryInitialized;
};

} // namespace connector::http

#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"

namespace connector::http {

/// One HTTP or HTTPS listener, as the manager sees it. Owned by `std::shared_ptr`. Every operation
/// may be called from any thread.
class CONNECTOR_API HttpServer : public std::enable_shared_from_this<HttpServer>
{
public:
    HttpServer() = default;
    virtual ~HttpServer();

    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Starts listening; returns once the server answers. Does nothing on a started server.
    virtual void start() = 0;

    /// Stops listening and ends every connection; no request runs once it has returned.
    virtual void stop() = 0;

    /// Whether the server is started and answers.
    virtual bool isRunning() = 0;

    /// Whether the server is starting or running.
    virtual bool isStarted() = 0;

    /// Sets where requests are sent.
    virtual void setAddress(const Address& address) = 0;
    virtual Address getAddress() = 0;

    /// Sets the port; 0 stands for the default port.
    virtual void setPort(unsigned short port) = 0;

    /// The port that the server is bound to while it runs, else the one that was set.
    virtual unsigned short getPort() = 0;

    virtual void setSocketAddress(const std::string& socketAddress) = 0;

    /// The address that the server is bound to while it runs, else the text that was set.
    virtual std::string getSocketAddress() = 0;

    /// The machine's name in the domain name system.
    virtual std::string getDnsName() = 0;

    /// An address by which other machines may reach this one.
    virtual std::string getRoutableAddress() = 0;

    /// "http" or "https".
    virtual std::string getProtocol() = 0;

    virtual std::shared_ptr<HttpServer> getPtr() = 0;

    /// Sets the file of the certificate that a secure server presents.
    virtual void setCertLocation(const std::wstring& certLocation) = 0;
    virtual std::wstring getCertLocation() = 0;
};

} // namespace connector::http

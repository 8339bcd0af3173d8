#pragma once

#include <Poco/Net/StreamSocket.h>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace connector::test {

/// An answer as it came over the wire.
struct WireResponse
{
    int status = 0;
    std::string head; ///< Status line and headers as sent, the empty line included.
    std::multimap<std::string, std::string> headers; ///< Names in lower case.
    std::string body;

    /// The first value of a header, or "(none)".
    [[nodiscard]] std::string header(const std::string& name) const;
};

/// A TCP client on 127.0.0.1 that sends exactly what it is told to. Every wait has the same
/// deadline; passing it throws, so that a test fails instead of hanging.
class RawClient
{
public:
    static constexpr std::chrono::seconds kDeadline{20};

    explicit RawClient(std::uint16_t port);

    /// Sends all of it. A server that closes meanwhile is no failure: its answer tells.
    void send(std::string_view bytes);

    /// Reads one answer: the head, and the body that its Content-Length announces.
    /// @param head the request was a HEAD: there is no body.
    WireResponse readResponse(bool head = false);

    std::string read(std::size_t count);

    /// Everything up to the end of the connection, whether closed or reset.
    std::string readUntilClosed();

    void finishSending();

    void reset();

private:
    bool receiveMore();

    Poco::Net::StreamSocket socket_;
    std::string received_;
};

/// A whole exchange on a connection of its own: sends @p request, reads one answer.
WireResponse exchange(std::uint16_t port, std::string_view request);

/// A minimal HTTP/1.1 request with a Host header.
/// @param headers further header lines, each ending in "\r\n".
std::string makeRequest(const std::string& method, const std::string& target,
                        const std::string& headers = "");

/// A port that nothing listens on at the moment.
std::uint16_t findFreePort();

} // namespace connector::test

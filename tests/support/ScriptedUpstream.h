#pragma once

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketStream.h>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace connector::test {

/// A server on 127.0.0.1 that answers each connection with exactly the bytes it is told to, one
/// connection after the other, on a thread of its own.
class ScriptedUpstream
{
public:
    enum class Then
    {
        Close,
        Reset,
        Hold, ///< Until the client closes.
        Drip  ///< The same, and goes on to send a byte now and then.
    };
    struct Answer
    {
        std::string bytes;
        Then then = Then::Close;
    };
    enum class Reads
    {
        All,
        Nothing,
        Head ///< The body, but for what comes with the head, is left unread.
    };
    /// @param request as received: head, and the body that its Content-Length announces.
    using Script = std::function<Answer(const std::string& request)>;

    explicit ScriptedUpstream(Script script, Reads reads = Reads::All)
        : script_(std::move(script)), reads_(reads)
    {}

    ~ScriptedUpstream() { listener_.impl()->shutdown(); }

    ScriptedUpstream(const ScriptedUpstream&) = delete;
    ScriptedUpstream& operator=(const ScriptedUpstream&) = delete;

    [[nodiscard]] std::uint16_t port() const { return listener_.address().port(); }

private:
    void serve()
    {
        try {
            while (true) {
                converse(listener_.acceptConnection());
            }
        } catch (const Poco::Exception&) { // the end of the listener
        }
    }

    void converse(Poco::Net::StreamSocket connection) const
    {
        try {
            const auto [bytes, then] = script_(readRequest(connection));
            connection.sendBytes(bytes.data(), static_cast<int>(bytes.size()), MSG_NOSIGNAL);
            if (then == Then::Reset) {
                connection.setLinger(true, 0);
            }
            while (then == Then::Drip) {
                connection.sendBytes("x", 1, MSG_NOSIGNAL);
                std::this_thread::sleep_for(std::chrono::milliseconds(5)); // nobody waits for it
            }
            for (char byte = 0; then == Then::Hold && connection.receiveBytes(&byte, 1) > 0;) {
            }
        } catch (const Poco::IOException&) { // the client has gone
        }
    }

    /// Head and body; less if the client ends before.
    std::string readRequest(const Poco::Net::StreamSocket& connection) const
    {
        Poco::Net::SocketInputStream stream(connection);
        std::string request;
        std::string body;
        for (std::string line;
             reads_ != Reads::Nothing && line != "\r" && std::getline(stream, line);) {
            request += line + "\n";
            if (reads_ == Reads::All && line.starts_with("Content-Length: ")) {
                body.resize(std::stoul(line.substr(16)));
            }
        }
        stream.read(body.data(), static_cast<std::streamsize>(body.size()));
        return request + body.substr(0, static_cast<std::size_t>(stream.gcount()));
    }

    const Script script_;
    const Reads reads_;
    Poco::Net::ServerSocket listener_{Poco::Net::SocketAddress("127.0.0.1", 0)};
    std::jthread thread_{[this] { serve(); }};
};

} // namespace connector::test

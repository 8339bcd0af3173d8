#pragma once

#include <Poco/Net/ServerSocket.h>
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
        Hold ///< Until the client closes.
    };
    struct Answer
    {
        std::string bytes;
        Then then = Then::Close;
    };
    enum class Reads
    {
        All,
        Head ///< The body, but for what comes with the head, is left unread.
    };
    /// @param request as received: head, and the body that its Content-Length announces.
    using Script = std::function<Answer(const std::string& request)>;

    explicit ScriptedUpstream(Script script, Reads reads = Reads::All);
    ~ScriptedUpstream();

    ScriptedUpstream(const ScriptedUpstream&) = delete;
    ScriptedUpstream& operator=(const ScriptedUpstream&) = delete;

    [[nodiscard]] std::uint16_t port() const { return listener_.address().port(); }

private:
    void converse(Poco::Net::StreamSocket connection) const;

    const Script script_;
    const Reads reads_;
    Poco::Net::ServerSocket listener_;
    std::jthread thread_;
};

} // namespace connector::test

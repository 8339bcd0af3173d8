#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace connector::test {

/// A server on 127.0.0.1 that answers each connection with exactly the bytes it is told to, one
/// connection after the other.
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
    /// @param request as received: head, and the body that its Content-Length announces.
    /// @param index of the connection, from 0.
    using Script = std::function<Answer(const std::string& request, int index)>;

    explicit ScriptedUpstream(Script script);
    ~ScriptedUpstream();

    ScriptedUpstream(const ScriptedUpstream&) = delete;
    ScriptedUpstream& operator=(const ScriptedUpstream&) = delete;

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

    /// The requests so far.
    std::vector<std::string> requests();

private:
    void serve();
    void converse(int connection, int index);

    const Script script_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::mutex mutex_; ///< Guards requests_.
    std::vector<std::string> requests_;
    std::jthread thread_;
};

} // namespace connector::test

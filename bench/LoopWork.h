#pragma once

#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>

/// What the servers that compare event loops have in common: they take a request of one segment,
/// work for three microseconds, and send the same answer each time.
namespace connector::bench {

inline constexpr std::size_t kRequestSize = 4096;

inline constexpr std::string_view kAnswer =
    "HTTP/1.1 200 OK\r\nContent-Length: 13\r\n\r\nHello, world!";

/// A handler's work.
inline void doWork()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(3);
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// Receives once, works and answers.
/// @return false once the client has gone.
inline bool answerOnce(int socket, char* buffer)
{
    if (::recv(socket, buffer, kRequestSize, 0) <= 0) {
        return false;
    }
    doWork();
    return ::send(socket, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL) > 0;
}

inline void sendAtOnce(int socket)
{
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

/// @return a socket that listens on that port of 127.0.0.1.
/// @throws std::runtime_error "cannot listen".
inline int listenOn(std::uint16_t port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(socket, SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen");
    }
    return socket;
}

} // namespace connector::bench

// A WebSocket client that measures an echo service.
//
//   websocket-load PORT PATH BYTES CONNECTIONS IN_FLIGHT SECONDS
//
// Every connection keeps IN_FLIGHT binary messages of BYTES on their way, and sends a next one for
// each that has come back. Prints the number of messages. With 0 bytes it only holds the
// connections open for the time. One thread; it talks to 127.0.0.1 alone.

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

/// A frame of that payload, its head as the server or as a client makes it.
std::string makeFrame(std::size_t size, bool masked)
{
    std::string frame = "\x82";
    const int lengthBytes = size < 126 ? 0 : size < 65'536 ? 2 : 8;
    const auto length = lengthBytes == 0 ? size : lengthBytes == 2 ? 126U : 127U;
    frame += static_cast<char>(length | (masked ? 0x80U : 0U));
    for (int shift = 8 * lengthBytes - 8; shift >= 0; shift -= 8) {
        frame += static_cast<char>(size >> static_cast<unsigned>(shift));
    }
    frame.append(masked ? "\x37\xfa\x21\x3d" : "");
    frame.append(size, 'x');
    return frame;
}

class Connection
{
public:
    Connection(std::uint16_t port, const std::string& path)
        : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::runtime_error("cannot connect");
        }
        const int on = 1;
        ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        const auto request = "GET " + path +
                             " HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\n"
                             "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                             "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
        ::send(socket_, request.data(), request.size(), 0);
        std::string answer;
        char byte = 0;
        while (!answer.ends_with("\r\n\r\n") && ::recv(socket_, &byte, 1, 0) == 1) {
            answer += byte;
        }
        if (!answer.starts_with("HTTP/1.1 101")) {
            throw std::runtime_error("no upgrade: " + answer);
        }
    }
    ~Connection() { ::close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void post(std::size_t frames) { unsent_ += frames; }

    /// Sends what is posted, as whole batches of @p frame as the kernel takes them.
    void send(const std::string& batch, std::size_t frameSize)
    {
        while (unsent_ > 0) {
            const auto size = std::min(batch.size(), unsent_ * frameSize) - sentOfFrame_;
            const auto count =
                ::send(socket_, batch.data() + sentOfFrame_, size, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count <= 0) {
                return;
            }
            sentOfFrame_ += static_cast<std::size_t>(count);
            unsent_ -= sentOfFrame_ / frameSize;
            sentOfFrame_ %= frameSize;
        }
    }

    /// Counts what comes.
    /// @return the messages that are complete now.
    std::size_t receive(std::vector<char>& buffer, std::size_t frameSize)
    {
        const auto count = ::recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count == 0) {
            throw std::runtime_error("the server closed");
        }
        received_ += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        const auto messages = received_ / frameSize;
        received_ %= frameSize;
        return messages;
    }

    [[nodiscard]] pollfd watched() const
    {
        return {socket_, static_cast<short>(unsent_ > 0 ? POLLIN | POLLOUT : POLLIN), 0};
    }

private:
    const int socket_;
    std::size_t unsent_ = 0; ///< Whole frames, the one that is under way included.
    std::size_t sentOfFrame_ = 0;
    std::size_t received_ = 0;
};

std::uint64_t run(std::vector<std::unique_ptr<Connection>>& connections, std::size_t bytes,
                  std::size_t inFlight, std::chrono::seconds time)
{
    const auto frame = makeFrame(bytes, true);
    const auto echoSize = makeFrame(bytes, false).size();
    std::string batch;
    for (std::size_t i = 0; i < inFlight; ++i) {
        batch += frame;
    }
    std::vector<char> buffer(std::size_t{1} << 20U);
    std::uint64_t messages = 0;
    for (const auto& connection : connections) {
        connection->post(inFlight);
        connection->send(batch, frame.size());
    }
    std::vector<pollfd> watched(connections.size());
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
        std::ranges::transform(connections, watched.begin(),
                               [](const auto& connection) { return connection->watched(); });
        ::poll(watched.data(), watched.size(), 100);
        for (std::size_t i = 0; i < connections.size(); ++i) {
            if (watched[i].revents == 0) {
                continue;
            }
            const auto complete = connections[i]->receive(buffer, echoSize);
            messages += complete;
            connections[i]->post(complete);
            connections[i]->send(batch, frame.size());
        }
    }
    return messages;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 7) {
        std::cerr << "usage: websocket-load PORT PATH BYTES CONNECTIONS IN_FLIGHT SECONDS\n";
        return 2;
    }
    const auto number = [argv](int i) { return static_cast<std::size_t>(std::atol(argv[i])); };
    const std::chrono::seconds time(number(6));
    try {
        std::vector<std::unique_ptr<Connection>> connections;
        for (std::size_t i = 0; i < number(4); ++i) {
            connections.push_back(
                std::make_unique<Connection>(static_cast<std::uint16_t>(number(1)), argv[2]));
        }
        std::cout << "connected" << std::endl;
        if (number(3) == 0) {
            ::sleep(static_cast<unsigned>(time.count()));
        } else {
            std::cout << run(connections, number(3), number(5), time) << std::endl;
        }
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
    return 0;
}

// The loop of Boost.Asio with the work of loop-server: see LoopWork.h.
//
//   asio-server PORT N   N threads run one io_context
//
// It ends with the process: SIGTERM.

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <thread>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "bench/LoopWork.h"

namespace connector::bench {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

/// Only one of its handlers is pending at a time, so it needs no strand.
class Connection : public std::enable_shared_from_this<Connection>
{
public:
    explicit Connection(tcp::socket socket) : socket_(std::move(socket)) {}

    void receive()
    {
        socket_.async_receive(boost::asio::buffer(buffer_),
                              [self = shared_from_this()](const error_code& error, std::size_t) {
                                  if (!error) {
                                      self->answer();
                                  }
                              });
    }

private:
    void answer()
    {
        doWork();
        error_code error;
        socket_.send(boost::asio::buffer(kAnswer.data(), kAnswer.size()), 0, error);
        if (!error) {
            receive();
        }
    }

    tcp::socket socket_;
    std::array<char, kRequestSize> buffer_;
};

void accept(tcp::acceptor& acceptor)
{
    acceptor.async_accept([&acceptor](const error_code& error, tcp::socket socket) {
        if (!error) {
            sendAtOnce(socket.native_handle());
            std::make_shared<Connection>(std::move(socket))->receive();
        }
        accept(acceptor);
    });
}

void serve(std::uint16_t port, int threads)
{
    boost::asio::io_context context(threads);
    tcp::acceptor acceptor(context, tcp::v4(), listenOn(port));
    accept(acceptor);
    for (int i = 1; i < threads; ++i) {
        std::thread([&context] { context.run(); }).detach();
    }
    context.run();
}

} // namespace
} // namespace connector::bench

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: asio-server PORT N\n";
        return 2;
    }
    try {
        connector::bench::serve(static_cast<std::uint16_t>(std::atoi(argv[1])), std::atoi(argv[2]));
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
    }
    return EXIT_FAILURE;
}

// A peer to be measured beside: civetweb, a thread for each connection.

#include <civetweb.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/peers/PeerMain.h"

namespace {

/// Head and body in one piece: civetweb's functions for heads send each line by itself.
int answer(mg_connection* connection, const std::string& body)
{
    const auto text = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\n\r\n" + body;
    mg_write(connection, text.data(), text.size());
    return 200;
}

int answerConstant(mg_connection* connection, void* /*unused*/)
{
    return answer(connection, connector::bench::kConstantText);
}

int answerFile(mg_connection* connection, void* directory)
{
    const auto path =
        *static_cast<std::string*>(directory) + mg_get_request_info(connection)->local_uri;
    const int file = ::open(path.c_str(), O_RDONLY);
    struct stat status = {};
    if (file < 0 || ::fstat(file, &status) != 0) {
        return 0;
    }
    std::string body(static_cast<std::size_t>(status.st_size), '\0');
    const auto count = ::read(file, body.data(), body.size());
    ::close(file);
    return count == status.st_size ? answer(connection, body) : 0;
}

} // namespace

int main(int argc, char** argv)
{
    auto arguments = connector::bench::readArguments(argc, argv);
    const auto port = std::to_string(arguments.port);
    const char* options[] = {"listening_ports",
                             port.c_str(),
                             "num_threads",
                             "512",
                             "enable_keep_alive",
                             "yes",
                             "keep_alive_timeout_ms",
                             "10000",
                             "tcp_nodelay",
                             "1",
                             nullptr};
    mg_init_library(0);
    mg_callbacks callbacks = {};
    mg_context* const context = mg_start(&callbacks, nullptr, options);
    if (context == nullptr) {
        return 1;
    }
    mg_set_request_handler(context, "/**", answerFile, &arguments.directory);
    mg_set_request_handler(context, connector::bench::kConstantPath, answerConstant, nullptr);
    connector::bench::waitForEnd();
}

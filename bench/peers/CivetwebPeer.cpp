// A peer to be measured beside: civetweb, a thread for each connection, files served by itself.

#include <civetweb.h>
#include <cstring>

#include "bench/peers/PeerMain.h"

namespace {

int answerConstant(mg_connection* connection, void* /*unused*/)
{
    const char* const text = connector::bench::kConstantText;
    const auto length = std::strlen(text);
    mg_send_http_ok(connection, "text/plain", static_cast<long long>(length));
    mg_write(connection, text, length);
    return 200;
}

} // namespace

int main(int argc, char** argv)
{
    const auto arguments = connector::bench::readArguments(argc, argv);
    const auto port = std::to_string(arguments.port);
    const char* options[] = {"listening_ports",
                             port.c_str(),
                             "document_root",
                             arguments.directory.c_str(),
                             "num_threads",
                             "64",
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
    mg_set_request_handler(context, connector::bench::kConstantPath, answerConstant, nullptr);
    connector::bench::waitForEnd();
}

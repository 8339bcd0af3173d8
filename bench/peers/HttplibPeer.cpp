// A peer to be measured beside: cpp-httplib, a pool of 64 threads, files from its mount point.

#include <httplib.h>
#include <limits>
#include <thread>

#include "bench/peers/PeerMain.h"

int main(int argc, char** argv)
{
    const auto arguments = connector::bench::readArguments(argc, argv);
    httplib::Server server;
    server.new_task_queue = [] { return new httplib::ThreadPool(64); };
    server.set_keep_alive_max_count(std::numeric_limits<int>::max()); // its own choice is 5
    server.set_tcp_nodelay(true);
    server.Get(connector::bench::kConstantPath,
               [](const httplib::Request&, httplib::Response& response) {
                   response.set_content(connector::bench::kConstantText, "text/plain");
               });
    if (!server.set_mount_point("/", arguments.directory)) {
        return 1;
    }
    std::thread([&server, port = arguments.port] { server.listen("127.0.0.1", port); }).detach();
    connector::bench::waitForEnd();
}

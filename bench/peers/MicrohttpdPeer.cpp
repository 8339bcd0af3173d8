// A peer to be measured beside: libmicrohttpd, files by descriptor; with a thread for each
// connection, or with a third argument, "pool", two threads that wait for events.

#include <cstring>
#include <fcntl.h>
#include <microhttpd.h>
#include <sys/stat.h>

#include "bench/peers/PeerMain.h"

namespace {

MHD_Response* makeResponse(const std::string& directory, const char* url)
{
    if (std::strcmp(url, connector::bench::kConstantPath) == 0) {
        return MHD_create_response_from_buffer(std::strlen(connector::bench::kConstantText),
                                               const_cast<char*>(connector::bench::kConstantText),
                                               MHD_RESPMEM_PERSISTENT);
    }
    const int file = ::open((directory + url).c_str(), O_RDONLY);
    struct stat status = {};
    if (file < 0 || ::fstat(file, &status) != 0) {
        return nullptr;
    }
    return MHD_create_response_from_fd64(static_cast<std::uint64_t>(status.st_size), file);
}

MHD_Result answer(void* directory, MHD_Connection* connection, const char* url,
                  const char* /*method*/, const char* /*version*/, const char* /*data*/,
                  std::size_t* /*size*/, void** state)
{
    static int seen = 0;
    if (*state == nullptr) {
        *state = &seen; // the head alone: answered at the next call
        return MHD_YES;
    }
    MHD_Response* const response = makeResponse(*static_cast<std::string*>(directory), url);
    if (response == nullptr) {
        return MHD_NO;
    }
    const auto result = MHD_queue_response(connection, MHD_HTTP_OK, response);
    MHD_destroy_response(response);
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    auto arguments = connector::bench::readArguments(argc, argv);
    // A pool's size of 0 stands for none.
    const unsigned flags = arguments.mode == "pool"
                               ? MHD_USE_EPOLL_INTERNAL_THREAD
                               : MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD;
    const unsigned threads = arguments.mode == "pool" ? 2 : 0;
    MHD_Daemon* const daemon = MHD_start_daemon(
        flags, static_cast<std::uint16_t>(arguments.port), nullptr, nullptr, answer,
        &arguments.directory, MHD_OPTION_THREAD_POOL_SIZE, threads, MHD_OPTION_END);
    if (daemon == nullptr) {
        return 1;
    }
    connector::bench::waitForEnd();
}

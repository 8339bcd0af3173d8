#include "contract/common/RandomString.h"

#include <array>
#include <cerrno>
#include <sys/random.h>
#include <system_error>

namespace connector::common {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t kAlphabetSize = sizeof(kAlphabet) - 1;

/// Random bytes of one thread, each handed out once.
struct RandomBytes
{
    std::array<unsigned char, 1056> bytes{}; // 64 strings of 16 characters and the rejected bytes
    std::size_t left = 0;

    unsigned char next()
    {
        if (left == 0) {
            refill();
        }
        unsigned char& slot = bytes[--left];
        const unsigned char byte = slot;
        slot = 0; // what was handed out is not found in memory again
        return byte;
    }

    void refill()
    {
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            const auto got = ::getrandom(bytes.data() + filled, bytes.size() - filled, 0);
            if (got > 0) {
                filled += static_cast<std::size_t>(got);
            } else if (errno != EINTR) {
                throw std::system_error(errno, std::generic_category(),
                                        "The system's random source failed");
            }
        }
        left = filled;
    }
};

constinit thread_local RandomBytes randomBytes;

} // namespace

std::string randomString(unsigned char length)
{
    auto& source = randomBytes;
    std::string text(length, '\0');
    for (char& c : text) {
        std::size_t index = source.next() % 64U;
        while (index >= kAlphabetSize) { // rejected: a remainder would favour the first letters
            index = source.next() % 64U;
        }
        c = kAlphabet[index];
    }
    return text;
}

} // namespace connector::common

#include <Poco/Exception.h>
#include <algorithm>
#include <array>
#include <openssl/ssl3.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>

#include "server/tls/TlsSession.h"
#include "server/websocket/SocketChannel.h"

namespace connector::http::websocket {

namespace {

/// Sends records that are as full as can be. The session has the lock that keeps its reader and its
/// writer apart.
class TlsChannel final : public SocketChannel
{
public:
    TlsChannel(int descriptor, TlsSession& session) : SocketChannel(descriptor), session_(session)
    {}

    std::optional<std::size_t> read(std::span<char> space) override
    {
        if (outputEnded_) {
            return readEncrypted(space);
        }
        const auto count = session_.receiveNow(space.data(), space.size());
        needsSocket_ = !count.has_value();
        return count;
    }

    bool hasHiddenInput() override
    {
        // Part of a record may be held: polling the socket tells when the rest comes.
        return !outputEnded_ && !needsSocket_ && session_.holdsInput();
    }

    std::size_t write(std::span<const iovec> parts) override
    {
        try {
            std::size_t written = 0;
            for (auto record = gather(parts, 0); !record.empty(); record = gather(parts, written)) {
                const auto count = session_.sendNow(record);
                if (count == 0) {
                    break;
                }
                written += count;
            }
            return written;
        } catch (const Poco::Exception& failure) {
            throw std::runtime_error(failure.displayText());
        }
    }

    void endOutput() noexcept override
    {
        session_.end();
        outputEnded_ = true;
        ::shutdown(descriptor(), SHUT_WR);
    }

    void shutDown() noexcept override
    {
        session_.end();
        ::shutdown(descriptor(), SHUT_RDWR);
    }

private:
    /// What the next record holds: the parts' bytes from @p offset on.
    std::string_view gather(std::span<const iovec> parts, std::size_t offset)
    {
        std::size_t gathered = 0;
        for (const auto& part : parts) {
            const auto skipped = std::min(offset, part.iov_len);
            offset -= skipped;
            const std::string_view rest(static_cast<const char*>(part.iov_base) + skipped,
                                        part.iov_len - skipped);
            if (gathered == 0 && rest.size() >= record_.size()) {
                return rest.substr(0, record_.size()); // no need to copy it
            }
            gathered += rest.copy(record_.data() + gathered, record_.size() - gathered);
        }
        return {record_.data(), gathered};
    }

    /// Nobody decrypts it any more: it is read to be forgotten.
    std::optional<std::size_t> readEncrypted(std::span<char> space) const
    {
        const auto count = ::recv(descriptor(), space.data(), space.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
            return std::nullopt;
        }
        return static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }

    TlsSession& session_;
    bool needsSocket_ = false; ///< The session has no use for what it holds without more.
    bool outputEnded_ = false;
    std::array<char, SSL3_RT_MAX_PLAIN_LENGTH> record_; ///< Belongs to the thread that writes.
};

} // namespace

std::unique_ptr<SocketChannel> makeTlsChannel(int descriptor, TlsSession& session)
{
    return std::make_unique<TlsChannel>(descriptor, session);
}

} // namespace connector::http::websocket

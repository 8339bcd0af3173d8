#pragma once

#include <array>
#include <cstddef>
#include <mutex>
#include <openssl/ssl3.h>
#include <string_view>

#include "server/net/Transport.h"
#include "server/tls/DescriptorBio.h"
#include "server/tls/OpenSslPtr.h"

namespace connector::http {

/// TLS over one connected socket, the server's side (RFC 8446).
class TlsTransport final : public net::Transport
{
public:
    /// @param context outlives the transport.
    /// @param descriptor stays open; it outlives the transport.
    TlsTransport(SSL_CTX* context, int descriptor);

    net::IoStatus handshake() override;
    net::IoResult receive(std::span<char> space) override;
    bool mayHoldInput(const net::IoResult& last, std::size_t asked) override;
    net::IoResult send(std::span<const iovec> parts, bool more) override;

    /// Sends a close_notify (RFC 8446 section 6.1) and releases the memory of the session: what
    /// arrives later is not decrypted.
    void endOutput() noexcept override;

    bool isSecure() const noexcept override { return true; }

private:
    using Record = std::array<char, SSL3_RT_MAX_PLAIN_LENGTH>;

    template <typename Operation>
    net::IoResult attempt(Operation operation);
    net::IoResult sendRecord(std::string_view bytes);

    std::mutex mutex_; ///< Guards all below: OpenSSL allows one call of a session at a time.
    OpenSslPtr<SSL> ssl_;
    bool broken_ = false;
};

} // namespace connector::http

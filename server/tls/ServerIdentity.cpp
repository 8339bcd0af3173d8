#include "server/tls/ServerIdentity.h"

#include <array>
#include <ctime>
#include <exception>
#include <filesystem>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <stdexcept>

#include "contract/common/Log.h"
#include "contract/common/Text.h"
#include "server/tls/ErrorQueueScope.h"
#include "server/tls/ReplaceFile.h"
#include "server/tls/certutils.h"

namespace connector::http {

namespace {

using common::Level;

constexpr common::Log kLog("connector::http::server");
constexpr const wchar_t* kPrivateKeyFile = L"korvelPkey.p12";

void log(Level level, const std::string& text)
{
    if (kLog.enabled(level)) {
        kLog.write(level, text);
    }
}

/// What an identity cannot be read for. Its files are as good as missing.
class UnusableFile : public std::runtime_error
{
public:
    UnusableFile(const std::wstring& file, const std::string& reason)
        : runtime_error(common::wideToUtf8(file) + ": " + reason)
    {}
};

/// The working directory is no place to look for a private key, or to leave one in.
void requireLocation(const std::wstring& certFile)
{
    if (certFile.empty()) {
        throw std::runtime_error("no certificate location is set");
    }
}

void requireRegularFile(const std::wstring& file)
{
    // Not a FIFO either, which would block the start.
    if (!std::filesystem::is_regular_file(common::wideToUtf8(file))) {
        throw UnusableFile(file, "no such file");
    }
}

OpenSslPtr<EVP_PKEY> readKey(const std::wstring& file)
{
    requireRegularFile(file);
    ErrorQueueScope errors;
    OpenSslPtr<EVP_PKEY> key(certutils::readKeyFromFile(file));
    if (key == nullptr) {
        throw UnusableFile(file, errors.takeReason());
    }
    return key;
}

OpenSslPtr<X509> readCertificate(const std::wstring& file)
{
    requireRegularFile(file);
    ErrorQueueScope errors;
    OpenSslPtr<X509> certificate(certutils::readCertFromFile(file));
    if (certificate == nullptr) {
        throw UnusableFile(file, errors.takeReason());
    }
    return certificate;
}

ServerIdentity load(const std::wstring& certFile, const std::wstring& keyFile)
{
    ServerIdentity identity;
    identity.certificate = readCertificate(certFile);
    identity.key = readKey(keyFile);
    if (!certutils::verifyPrivateKeyAndCertMatch(identity.key.get(), identity.certificate.get())) {
        throw UnusableFile(certFile, "the certificate is for another key");
    }
    return identity;
}

/// @throws std::runtime_error see requireUsableServerIdentity.
void requireUsable(const ServerIdentity& identity, const std::wstring& keyFile)
{
    ErrorQueueScope errors;
    const OpenSslPtr<SSL_CTX> trial(SSL_CTX_new(TLS_server_method()));
    std::string reason;
    if (EVP_PKEY_get_base_id(identity.key.get()) != EVP_PKEY_RSA) {
        reason = "not an RSA key";
    } else if (trial == nullptr ||
               SSL_CTX_use_certificate(trial.get(), identity.certificate.get()) != 1 ||
               SSL_CTX_use_PrivateKey(trial.get(), identity.key.get()) != 1) {
        reason = errors.takeReason();
    }
    if (!reason.empty()) {
        throw std::runtime_error(common::wideToUtf8(keyFile) +
                                 ": the server cannot use this key: " + reason);
    }
}

/// "20240501T120000Z"
std::string currentTime()
{
    const auto now = std::time(nullptr);
    tm utc{};
    ::gmtime_r(&now, &utc);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &utc);
    return text.data();
}

/// Moves what is there to a free name beside it. A directory is never moved.
/// @throws std::runtime_error if it stays where it is.
void setAside(const std::wstring& file)
{
    const std::filesystem::path path(common::wideToUtf8(file));
    const auto status = std::filesystem::symlink_status(path);
    if (!std::filesystem::exists(status)) {
        return;
    }
    if (std::filesystem::is_directory(status)) {
        throw std::runtime_error("Cannot write " + path.string() + ": Is a directory");
    }
    const auto wanted = path.string() + "." + currentTime();
    auto kept = wanted;
    for (int i = 2; std::filesystem::exists(std::filesystem::symlink_status(kept)); ++i) {
        kept = wanted + "-" + std::to_string(i);
    }
    std::filesystem::rename(path, kept);
    log(Level::Warning, "Kept " + path.string() + " as " + kept);
}

void save(const ServerIdentity& identity, const std::wstring& certFile, const std::wstring& keyFile)
{
    requireLocation(certFile);
    setAside(certFile);
    setAside(keyFile);
    certutils::writeKeyToFile(keyFile, identity.key.get());
    certutils::writeCertToFile(certFile, identity.certificate.get());
}

ServerIdentity makeAndSave(const std::wstring& certFile, const std::wstring& keyFile)
{
    ServerIdentity identity;
    identity.key.reset(certutils::generateKeyPair());
    identity.certificate.reset(certutils::generateX509Certificate(identity.key.get()));
    try {
        save(identity, certFile, keyFile);
    } catch (const std::exception& failure) {
        log(Level::Warning,
            std::string("Unable to save private key or certificate to file:") + failure.what());
    }
    return identity;
}

} // namespace

std::wstring privateKeyLocation(const std::wstring& certLocation)
{
    if (certLocation.empty()) {
        return {};
    }
    const auto slash = certLocation.rfind(L'/');
    return certLocation.substr(0, slash == std::wstring::npos ? 0 : slash + 1) + kPrivateKeyFile;
}

ServerIdentity loadOrMakeServerIdentity(const std::wstring& certLocation)
{
    const auto keyLocation = privateKeyLocation(certLocation);
    const ErrorQueueScope errors;
    ServerIdentity identity;
    try {
        requireLocation(certLocation);
        removeUnfinished(common::wideToUtf8(certLocation));
        removeUnfinished(common::wideToUtf8(keyLocation));
        identity = load(certLocation, keyLocation);
    } catch (const std::runtime_error& failure) {
        log(Level::Warning,
            std::string("Making a new private key and certificate: ") + failure.what());
        return makeAndSave(certLocation, keyLocation);
    }
    requireUsable(identity, keyLocation);
    return identity;
}

void requireUsableServerIdentity(const std::wstring& certLocation)
{
    const auto keyLocation = privateKeyLocation(certLocation);
    const ErrorQueueScope errors;
    ServerIdentity identity;
    try {
        identity = load(certLocation, keyLocation);
    } catch (const std::runtime_error&) {
        return; // a pair to be replaced
    }
    requireUsable(identity, keyLocation);
}

} // namespace connector::http

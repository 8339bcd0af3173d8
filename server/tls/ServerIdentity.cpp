#include "server/tls/ServerIdentity.h"

#include <exception>
#include <filesystem>
#include <openssl/evp.h>
#include <openssl/x509v3.h>
#include <stdexcept>

#include "contract/common/Log.h"
#include "contract/common/Text.h"
#include "server/tls/ErrorQueueScope.h"
#include "server/tls/certutils.h"

namespace connector::http {

namespace {

using common::Level;

constexpr common::Log kLog("connector::http::server");
constexpr const wchar_t* kPrivateKeyFile = L"korvelPkey.p12";

/// What an identity cannot be read for. Its files are as good as missing.
class UnusableFile : public std::runtime_error
{
public:
    UnusableFile(const std::wstring& file, const std::string& reason)
        : runtime_error(common::wideToUtf8(file) + ": " + reason)
    {}
};

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
    if (EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) {
        throw UnusableFile(file, "not an RSA key");
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
    if (certFile.empty()) {
        throw std::runtime_error("no certificate location is set");
    }
    ServerIdentity identity;
    identity.certificate = readCertificate(certFile);
    identity.key = readKey(keyFile);
    if (!certutils::verifyPrivateKeyAndCertMatch(identity.key.get(), identity.certificate.get())) {
        throw UnusableFile(certFile, "the certificate is for another key");
    }
    if (X509_self_signed(identity.certificate.get(), 0) == 1 &&
        X509_verify(identity.certificate.get(), identity.key.get()) != 1) {
        throw UnusableFile(certFile, "the certificate is damaged");
    }
    return identity;
}

void save(const ServerIdentity& identity, const std::wstring& certFile, const std::wstring& keyFile)
{
    if (certFile.empty()) {
        // The working directory is no place to leave a private key in.
        throw std::runtime_error("no certificate location is set");
    }
    certutils::writeKeyToFile(keyFile, identity.key.get());
    certutils::writeCertToFile(certFile, identity.certificate.get());
}

void log(Level level, const std::string& text)
{
    if (kLog.enabled(level)) {
        kLog.write(level, text);
    }
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
    try {
        return load(certLocation, keyLocation);
    } catch (const std::exception& failure) {
        log(Level::Warning,
            std::string("Making a new private key and certificate: ") + failure.what());
    }
    ServerIdentity identity;
    identity.key.reset(certutils::generateKeyPair());
    identity.certificate.reset(certutils::generateX509Certificate(identity.key.get()));
    try {
        save(identity, certLocation, keyLocation);
    } catch (const std::exception& failure) {
        log(Level::Warning,
            std::string("Unable to save private key or certificate to file:") + failure.what());
    }
    return identity;
}

} // namespace connector::http

#include "server/tls/certutils.h"

#include <algorithm>
#include <ctime>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <stdexcept>
#include <string_view>

#include "contract/common/Text.h"
#include "server/tls/OpenSslPtr.h"
#include "server/tls/ReplaceFile.h"

namespace connector::http::certutils {

namespace {

constexpr int kKeyBits = 2048;
constexpr long kSerialNumber = 1;
constexpr int kValidDays = 10000;
constexpr const char* kAlternativeNames = "DNS:localhost,IP:127.0.0.1,IP:::1";
constexpr const char* kFriendlyName = "localhost";
constexpr const char* kPassPhrase = "Rj4%tN8!bq2Lz#Wk";

constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kReadableByAll = 0644;

void check(bool succeeded, const char* failure)
{
    if (!succeeded) {
        throw std::runtime_error(failure);
    }
}

/// X.509 version 3, written as the format has it: counted from 0.
constexpr long kVersion3 = 2;

bool setValidity(X509* certificate)
{
    auto now = std::time(nullptr);
    // Days apart from seconds: all of it in seconds would not fit a long of 32 bits with room.
    return X509_time_adj_ex(X509_getm_notBefore(certificate), 0, 0, &now) != nullptr &&
           X509_time_adj_ex(X509_getm_notAfter(certificate), kValidDays, 0, &now) != nullptr;
}

bool addEntry(X509_NAME* name, const char* field, const char* value)
{
    return X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC,
                                      reinterpret_cast<const unsigned char*>(value), -1, -1,
                                      0) == 1;
}

bool setNames(X509* certificate)
{
    auto* const name = X509_get_subject_name(certificate);
    return addEntry(name, "C", "US") && addEntry(name, "O", "company") &&
           addEntry(name, "CN", "localhost") && addEntry(name, "OU", "engineering") &&
           X509_set_issuer_name(certificate, name) == 1;
}

bool addAlternativeNames(X509* certificate)
{
    const OpenSslPtr<X509_EXTENSION> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, kAlternativeNames));
    return extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1;
}

OpenSslPtr<BIO> openForReading(const std::wstring& path)
{
    return OpenSslPtr<BIO>(BIO_new_file(common::wideToUtf8(path).c_str(), "rb"));
}

/// Answers for the terminal, which OpenSSL would otherwise ask for the pass phrase of a file.
int refusePassPhrase(char*, int, int, void*)
{
    return -1;
}

} // namespace

EVP_PKEY* generateKeyPair()
{
    const OpenSslPtr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr));
    check(context != nullptr, "Unable to create key context.");
    check(EVP_PKEY_keygen_init(context.get()) >= 1, "Unable to initialize key generator.");
    check(EVP_PKEY_CTX_ctrl(context.get(), EVP_PKEY_RSA, EVP_PKEY_OP_KEYGEN,
                            EVP_PKEY_CTRL_RSA_KEYGEN_BITS, kKeyBits, nullptr) >= 1,
          "Unable to set key generator.");
    EVP_PKEY* key = nullptr;
    check(EVP_PKEY_keygen(context.get(), &key) >= 1, "Unable to generate keys.");
    return key;
}

X509* generateX509Certificate(EVP_PKEY* key)
{
    OpenSslPtr<X509> certificate(X509_new());
    check(certificate != nullptr && X509_set_version(certificate.get(), kVersion3) == 1 &&
              ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), kSerialNumber) == 1 &&
              setValidity(certificate.get()) && X509_set_pubkey(certificate.get(), key) == 1 &&
              setNames(certificate.get()) && addAlternativeNames(certificate.get()),
          "Unable to generate certificate.");
    check(X509_sign(certificate.get(), key, EVP_sha256()) > 0, "Unable to sign certificate.");
    return certificate.release();
}

std::string bioToString(BIO* bio)
{
    std::string text(BIO_ctrl_pending(bio), '\0');
    const auto length = BIO_read(bio, text.data(), static_cast<int>(text.size()));
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::string convertCertificateToString(X509* certificate)
{
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(bio.get(), certificate);
    return bioToString(bio.get());
}

std::string convertPrivateKeyPartToString(EVP_PKEY* key)
{
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    return bioToString(bio.get());
}

X509* readCertFromFile(const std::wstring& path)
{
    const auto bio = openForReading(path);
    return bio == nullptr ? nullptr
                          : PEM_read_bio_X509(bio.get(), nullptr, refusePassPhrase, nullptr);
}

void writeCertToFile(const std::wstring& path, X509* certificate)
{
    const auto text = convertCertificateToString(certificate);
    check(!text.empty(), "Unable to write the certificate.");
    replaceFile(common::wideToUtf8(path), text, kReadableByAll);
}

EVP_PKEY* readKeyFromFile(const std::wstring& path)
{
    const auto bio = openForReading(path);
    const OpenSslPtr<PKCS12> container(bio == nullptr ? nullptr
                                                      : d2i_PKCS12_bio(bio.get(), nullptr));
    EVP_PKEY* key = nullptr;
    if (container != nullptr) {
        PKCS12_parse(container.get(), kPassPhrase, &key, nullptr, nullptr);
    }
    return key;
}

void writeKeyToFile(const std::wstring& path, EVP_PKEY* key)
{
    const OpenSslPtr<PKCS12> container(
        PKCS12_create(kPassPhrase, kFriendlyName, key, nullptr, nullptr, 0, 0, 0, 0, 0));
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    check(container != nullptr && bio != nullptr && i2d_PKCS12_bio(bio.get(), container.get()) == 1,
          "Unable to write the private key.");
    char* der = nullptr;
    const auto length = BIO_get_mem_data(bio.get(), &der);
    const std::string_view content(der, static_cast<std::size_t>(length));
    replaceFile(common::wideToUtf8(path), content, kOwnerOnly);
}

bool verifyPrivateKeyAndCertMatch(EVP_PKEY* key, X509* certificate)
{
    if (key == nullptr || certificate == nullptr) {
        return false;
    }
    const OpenSslPtr<EVP_PKEY> certified(X509_get_pubkey(certificate));
    return certified != nullptr && EVP_PKEY_eq(certified.get(), key) == 1;
}

} // namespace connector::http::certutils

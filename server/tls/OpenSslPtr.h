#pragma once

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace connector::http {

/// Releases each kind of OpenSSL's objects by its own function.
struct OpenSslDeleter
{
    void operator()(BIO* object) const noexcept { BIO_free_all(object); }
    void operator()(BIO_METHOD* object) const noexcept { BIO_meth_free(object); }
    void operator()(EVP_PKEY* object) const noexcept { EVP_PKEY_free(object); }
    void operator()(EVP_PKEY_CTX* object) const noexcept { EVP_PKEY_CTX_free(object); }
    void operator()(PKCS12* object) const noexcept { PKCS12_free(object); }
    void operator()(SSL* object) const noexcept { SSL_free(object); }
    void operator()(SSL_CTX* object) const noexcept { SSL_CTX_free(object); }
    void operator()(X509* object) const noexcept { X509_free(object); }
    void operator()(X509_EXTENSION* object) const noexcept { X509_EXTENSION_free(object); }
};

/// Owns an object of OpenSSL.
template <typename Object>
using OpenSslPtr = std::unique_ptr<Object, OpenSslDeleter>;

} // namespace connector::http

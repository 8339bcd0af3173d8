#pragma once

#include <openssl/types.h>
#include <string>

/// The RSA key and the self-signed certificate by which a secure server identifies itself: made,
/// stored, loaded and compared.
///
/// Pointers that these functions return belong to the caller. Where a function returns null, the
/// reason is on the thread's OpenSSL error queue. Any thread; no locks.
namespace connector::http::certutils {

/// A new RSA key of 2048 bits. It takes some 100 ms of computing.
/// @throws std::runtime_error "Unable to create key context.", "Unable to initialize key
///         generator.", "Unable to set key generator." or "Unable to generate keys."
EVP_PKEY* generateKeyPair();

/// A certificate (X.509 version 3, RFC 5280) of @p key, signed with it by SHA-256: serial number 1,
/// valid for 10000 days from now, subject and issuer C=US, O=company, CN=localhost, OU=engineering,
/// subjectAltName localhost, 127.0.0.1 and ::1, without which no browser can be made to trust it.
/// @throws std::runtime_error "Unable to generate certificate." or "Unable to sign certificate."
X509* generateX509Certificate(EVP_PKEY* key);

/// All that waits in a memory BIO, up to the first NUL.
std::string bioToString(BIO* bio);

/// The certificate as PEM text.
std::string convertCertificateToString(X509* certificate);

/// The private key as PEM text (PKCS#8), not encrypted.
std::string convertPrivateKeyPartToString(EVP_PKEY* key);

/// The first certificate of a PEM file; null if it cannot be read or holds none. Never asks for a
/// pass phrase.
X509* readCertFromFile(const std::wstring& path);

/// Writes the certificate as PEM text, mode 0644, all or nothing (see replaceFile).
/// @throws std::system_error "Cannot write " + path + ": " + reason
/// @throws std::runtime_error "Unable to write the certificate." if it has no PEM form.
void writeCertToFile(const std::wstring& path, X509* certificate);

/// The private key of a PKCS#12 container; null if the file cannot be read, is no container, does
/// not open with the fixed pass phrase or holds no key.
EVP_PKEY* readKeyFromFile(const std::wstring& path);

/// Writes a PKCS#12 container with the private key alone, under the fixed pass phrase and the name
/// "localhost", mode 0600, all or nothing (see replaceFile).
/// @throws std::system_error "Cannot write " + path + ": " + reason
/// @throws std::runtime_error "Unable to write the private key." if no container can be made.
void writeKeyToFile(const std::wstring& path, EVP_PKEY* key);

/// Whether the certificate is for this key. False if either is null.
bool verifyPrivateKeyAndCertMatch(EVP_PKEY* key, X509* certificate);

} // namespace connector::http::certutils

#pragma once

#include <string>

#include "server/tls/OpenSslPtr.h"

namespace connector::http {

/// What a secure server identifies itself by: a private key and the certificate of it.
struct ServerIdentity
{
    OpenSslPtr<EVP_PKEY> key;
    OpenSslPtr<X509> certificate;
};

/// Where the private key of a certificate lies: "korvelPkey.p12" in the directory of the
/// certificate's file, empty if no certificate location is set.
std::wstring privateKeyLocation(const std::wstring& certLocation);

/// The identity in the files, if both are there, can be read and belong together; they stay as they
/// are. Else a new one, which is saved in these files if they can be written and is used all the
/// same if they cannot. Files that are there already are kept beside, each under its name followed
/// by the time in UTC: which of them the program itself made cannot be told for certain. The log
/// says why, where they are, and what was not written. Blocks while files are read and written, and
/// while a new key is computed.
///
/// @param certLocation the certificate's file; empty means that every call makes a new identity and
///        no file is read or written.
/// @throws std::runtime_error that of requireUsableServerIdentity; those of certutils, when there
///         is no key or certificate to be made.
ServerIdentity loadOrMakeServerIdentity(const std::wstring& certLocation);

/// Refuses a pair whose halves belong together, so that it is not replaced, but by which a server
/// cannot identify itself: its key is no RSA key or too short. Changes nothing.
/// @throws std::runtime_error the key's file + ": the server cannot use this key: " + reason.
void requireUsableServerIdentity(const std::wstring& certLocation);

} // namespace connector::http

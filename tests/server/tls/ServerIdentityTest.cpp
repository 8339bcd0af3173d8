#include "server/tls/ServerIdentity.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "server/tls/ReplaceFile.h"
#include "server/tls/certutils.h"
#include "tests/support/Document.h"
#include "tests/support/HostProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {
namespace {

using test::readFile;

class ServerIdentityTest : public testing::Test
{
protected:
    ServerIdentity load() { return loadOrMakeServerIdentity(certificate_.wstring()); }

    const test::TemporaryDirectory directory_;
    const std::filesystem::path certificate_ = directory_.path() / "certificate.pem";
    const std::filesystem::path key_ = directory_.path() / "korvelPkey.p12";
};

TEST_F(ServerIdentityTest, PairInTheFilesIsKept)
{
    const auto made = load();
    const auto files = readFile(certificate_) + readFile(key_);

    const test::ScopedLogCapture log;
    const auto kept = load();
    EXPECT_EQ(X509_cmp(kept.certificate.get(), made.certificate.get()), 0);
    EXPECT_EQ(EVP_PKEY_eq(kept.key.get(), made.key.get()), 1);
    EXPECT_EQ(readFile(certificate_) + readFile(key_), files);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(ServerIdentityTest, FilesThatCannotBeUsedAreReplacedAndTheLogSaysWhy)
{
    const std::string container = " | openssl pkcs12 -export -nocerts -out korvelPkey.p12 "
                                  "-passout 'pass:";
    const std::pair<std::string, const char*> cases[] = {
        {"rm certificate.pem", "certificate.pem: no such file"},
        {"rm korvelPkey.p12", "korvelPkey.p12: no such file"},
        {"truncate -s 1000 korvelPkey.p12", "not enough data"},
        {"truncate -s 0 certificate.pem", "no start line"},
        {"truncate -s 900 certificate.pem", "bad end line"},
        {"openssl x509 -in certificate.pem -outform DER > c; "
         "(head -c -1 c; tail -c 1 c | tr '\\000-\\377' '\\001-\\377\\000') | "
         "openssl x509 -inform DER -out certificate.pem",
         "the certificate is damaged"},
        {"openssl genrsa 1024" + container + "another'", "mac verify failure"},
        {"openssl genrsa 1024" + container + "Rj4%tN8!bq2Lz#Wk'",
         "the certificate is for another key"},
        {"openssl genpkey -algorithm ED25519" + container + "Rj4%tN8!bq2Lz#Wk'", "not an RSA key"},
        {"rm korvelPkey.p12; mkfifo korvelPkey.p12", "korvelPkey.p12: no such file"},
    };
    load();
    for (const auto& [command, reason] : cases) {
        SCOPED_TRACE(command);
        test::runProgram("cd '" + directory_.path().string() + "'; " + command);
        const test::ScopedLogCapture log;
        const auto made = load();
        EXPECT_TRUE(log.contains(reason));
        EXPECT_EQ(X509_cmp(load().certificate.get(), made.certificate.get()), 0);
        EXPECT_EQ(log.records().size(), 1U) << "the pair made is kept";
    }
}

TEST_F(ServerIdentityTest, WithoutALocationNoFileIsReadOrWritten)
{
    load(); // a key that would be found in the working directory
    const auto files = readFile(certificate_) + readFile(key_);
    const auto workingDirectory = std::filesystem::current_path();
    std::filesystem::current_path(directory_.path());
    const test::ScopedLogCapture log;
    const auto identity = loadOrMakeServerIdentity(L"");
    std::filesystem::current_path(workingDirectory);

    EXPECT_TRUE(
        certutils::verifyPrivateKeyAndCertMatch(identity.key.get(), identity.certificate.get()));
    EXPECT_EQ(readFile(certificate_) + readFile(key_), files);
    EXPECT_TRUE(log.contains("Unable to save private key or certificate to file:"));
}

TEST_F(ServerIdentityTest, PairThatCannotBeSavedIsUsedAllTheSame)
{
    const test::ScopedLogCapture log;
    const auto nowhere = directory_.path() / "none";
    EXPECT_NE(loadOrMakeServerIdentity((nowhere / "certificate.pem").wstring()).key, nullptr);
    EXPECT_TRUE(log.contains("Unable to save private key or certificate to file:Cannot write " +
                             nowhere.string()));
}

TEST(ReplaceFileTest, FailureLeavesWhatWasThereAndNothingElse)
{
    const test::TemporaryDirectory directory;
    directory.write("taken/file", "old"); // a directory in the place of the file
    EXPECT_THROW(replaceFile(directory.path() / "taken", "new", 0600), std::system_error);
    EXPECT_EQ(readFile(directory.path() / "taken" / "file"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
}

} // namespace
} // namespace connector::http

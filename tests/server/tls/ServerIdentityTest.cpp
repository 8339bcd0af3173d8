#include "server/tls/ServerIdentity.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

#include "server/tls/PocoHttpsServer.h"
#include "server/tls/ReplaceFile.h"
#include "server/tls/certutils.h"
#include "tests/support/Document.h"
#include "tests/support/FailureText.h"
#include "tests/support/HostProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {
namespace {

using test::readFile;

class ServerIdentityTest : public testing::Test
{
protected:
    ServerIdentity load() { return loadOrMakeServerIdentity(certificate_.wstring()); }

    /// The contents of all regular files.
    [[nodiscard]] std::multiset<std::string> contents() const
    {
        std::multiset<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            if (entry.is_regular_file()) {
                all.insert(readFile(entry.path()));
            }
        }
        return all;
    }

    void run(const std::string& commands)
    {
        test::runProgram("cd '" + directory_.path().string() + "'; " + commands);
    }

    const std::string container_ = " | openssl pkcs12 -export -nocerts -out korvelPkey.p12 "
                                   "-passout 'pass:";
    const std::string passPhrase_ = "Rj4%tN8!bq2Lz#Wk'";
    const test::TemporaryDirectory directory_;
    const std::filesystem::path certificate_ = directory_.path() / "certificate.pem";
    const std::filesystem::path key_ = directory_.path() / "korvelPkey.p12";
};

TEST_F(ServerIdentityTest, FilesThatCannotBeUsedAreReplacedAndKeptBesideAndTheLogSaysWhy)
{
    const std::pair<std::string, const char*> cases[] = {
        {"rm certificate.pem", "certificate.pem: no such file"},
        {"rm korvelPkey.p12", "korvelPkey.p12: no such file"},
        {"truncate -s 1000 korvelPkey.p12", "not enough data"},
        {"truncate -s 0 certificate.pem", "no start line"},
        {"truncate -s 900 certificate.pem", "bad end line"},
        {"openssl genrsa 1024" + container_ + "another'", "mac verify failure"},
        {"openssl genrsa 1024" + container_ + passPhrase_, "the certificate is for another key"},
        {"openssl genpkey -algorithm ED25519" + container_ + passPhrase_,
         "the certificate is for another key"},
        {"rm korvelPkey.p12; mkfifo korvelPkey.p12", "korvelPkey.p12: no such file"},
    };
    load();
    for (const auto& [command, reason] : cases) {
        SCOPED_TRACE(command);
        run(command);
        const auto before = contents();
        const test::ScopedLogCapture log;
        const auto made = load();
        EXPECT_TRUE(log.contains(reason));
        EXPECT_TRUE(log.contains("Kept " + directory_.path().string()));
        EXPECT_TRUE(std::ranges::includes(contents(), before)) << "a file is lost";
        const auto records = log.records().size();
        EXPECT_EQ(X509_cmp(load().certificate.get(), made.certificate.get()), 0);
        EXPECT_EQ(log.records().size(), records) << "the pair made is kept";
    }
}

TEST_F(ServerIdentityTest, PairThatMatchesIsNeverWrittenAndOneThatCannotBeUsedEndsTheStart)
{
    const std::string request = "openssl req -noenc -subj /CN=same -keyout key.pem -newkey ";
    const std::pair<std::string, std::string> cases[] = {
        {request + "ec -pkeyopt ec_paramgen_curve:P-256 -x509 -out certificate.pem",
         "korvelPkey.p12: the server cannot use this key: not an RSA key"},
        {request + "rsa:512 -x509 -out certificate.pem",
         "korvelPkey.p12: the server cannot use this key: error:0A00018F:SSL routines::ee key too "
         "small"},
        {request + "rsa:2048 -x509 -out ca.pem; mv key.pem ca.key; " + request +
             "rsa:2048 | openssl x509 -req -CA ca.pem -CAkey ca.key -out certificate.pem",
         ""},
    };
    for (const auto& [commands, failure] : cases) {
        SCOPED_TRACE(commands);
        run(commands + "; cat key.pem" + container_ + passPhrase_);
        const auto before = contents();
        PocoHttpsServer server(nullptr, test::findFreePort());
        server.setCertLocation(certificate_.wstring());
        EXPECT_EQ(test::failureOf([&server] { server.start(); }),
                  failure.empty() ? "" : (directory_.path() / failure).string());
        EXPECT_EQ(contents(), before);
    }
}

TEST_F(ServerIdentityTest, WhatAKillLeavesOfAKeyIsRemovedAtTheNextStart)
{
    const rlimit size{1000, 1000}; // less than a key has
    EXPECT_EXIT((setrlimit(RLIMIT_FSIZE, &size), load()), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(contents().size(), 1U);
    directory_.write("korvelPkey.p12.backup", "");
    load();
    EXPECT_EQ(contents().size(), 3U);
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

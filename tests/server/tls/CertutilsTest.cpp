#include "server/tls/certutils.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "contract/common/Text.h"
#include "server/tls/OpenSslPtr.h"
#include "tests/support/HostProcess.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http::certutils {
namespace {

using test::runProgram;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class CertutilsTest : public testing::Test
{
protected:
    const OpenSslPtr<EVP_PKEY> key_{generateKeyPair()};
    const OpenSslPtr<X509> certificate_{generateX509Certificate(key_.get())};
    const test::TemporaryDirectory directory_;
};

TEST_F(CertutilsTest, AnotherProgramReadsTheCertificatesFields)
{
    const std::string file = directory_.path() / "zertifikat \u00fc.pem";
    writeCertToFile(common::utf8ToWide(file), certificate_.get());

    const std::string name = "C = US, O = company, CN = localhost, OU = engineering\n";
    EXPECT_THAT(
        runProgram("openssl x509 -noout -text -in '" + file + "'"),
        AllOf(HasSubstr("Version: 3 "), HasSubstr("Serial Number: 1 "),
              HasSubstr("Signature Algorithm: sha256WithRSAEncryption\n"),
              HasSubstr("Subject: " + name), HasSubstr("Issuer: " + name),
              HasSubstr("Public-Key: (2048 bit)"),
              HasSubstr("DNS:localhost, IP Address:127.0.0.1, IP Address:0:0:0:0:0:0:0:1")));
    EXPECT_THAT(runProgram("openssl verify -CAfile '" + file + "' '" + file + "'"),
                HasSubstr(": OK"));
    int days = 0;
    int seconds = 0;
    ASN1_TIME_diff(&days, &seconds, X509_get0_notBefore(certificate_.get()),
                   X509_get0_notAfter(certificate_.get()));
    EXPECT_EQ(days, 10000);
    EXPECT_EQ(seconds, 0);
}

TEST_F(CertutilsTest, KeyFileIsAContainerOfTheKeyAloneForItsOwner)
{
    const std::string file = directory_.path() / "key.p12";
    writeKeyToFile(common::utf8ToWide(file), key_.get());

    const auto open = "openssl pkcs12 -nodes -in '" + file + "' -passin 'pass:";
    EXPECT_THAT(runProgram(open + "Rj4%tN8!bq2Lz#Wk'"),
                AllOf(HasSubstr("friendlyName: localhost"),
                      HasSubstr(convertPrivateKeyPartToString(key_.get())),
                      Not(HasSubstr("BEGIN CERTIFICATE"))));
    EXPECT_THAT(runProgram(open + "another'"), HasSubstr("invalid password"));
    struct stat status = {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    const OpenSslPtr<EVP_PKEY> read(readKeyFromFile(common::utf8ToWide(file)));
    EXPECT_TRUE(verifyPrivateKeyAndCertMatch(read.get(), certificate_.get()));
}

} // namespace
} // namespace connector::http::certutils

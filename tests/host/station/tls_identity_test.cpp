// SPDX-License-Identifier: MIT
// Certificates and keys as users bring them: the good ones, and each way to be wrong.
#include "host/station/tls_identity.h"

#include <gmock/gmock.h>

#include <chrono>

#include "host/tool/exit_code.h"
#include "quillmark/host/files.h"
#include "tests/host/station/http_client.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class TlsIdentityTest : public ::testing::Test {
 protected:
  TlsIdentityTest() { MakeCertificate(folder, "good", "DNS:bench.example"); }

  /// The text of the refusal.
  [[nodiscard]] std::string Refusal(const std::string& certificate, const std::string& key,
                                    std::chrono::hours later = {}) const {
    try {
      const TlsIdentity identity(folder.Path(certificate), folder.Path(key),
                                 std::chrono::system_clock::now() + later);
    } catch (const ToolError& error) {
      EXPECT_EQ(error.code(), ExitCode::kData);
      EXPECT_FALSE(error.next().empty());
      return error.what();
    }
    return "none";
  }

  testing::TemporaryFolder folder;
};

TEST_F(TlsIdentityTest, KnowsItsNamesAndItsEnd) {
  MakeCertificate(folder, "many",
                  "DNS:bench.example,DNS:*.line.example,IP:192.0.2.1,IP:2001:db8::1,"
                  "email:nobody@bench.example");
  const TlsIdentity identity(folder.Path("many.crt"), folder.Path("many.key"));
  EXPECT_THAT(identity.names(),
              ElementsAre("bench.example", "*.line.example", "192.0.2.1", "[2001:db8::1]"));
  EXPECT_THAT(identity.last_day(), MatchesRegex("20[0-9]{2}-[0-9]{2}-[0-9]{2}"));
}

TEST_F(TlsIdentityTest, SendsTheCertificatesOfTheIssuers) {
  MakeCertificate(folder, "issuer", "DNS:issuer.example");
  const std::string chain =
      folder.Write("chain.crt", folder.Read("good.crt") + folder.Read("issuer.crt"));
  const std::unique_ptr<SSL_CTX, decltype(&::SSL_CTX_free)> context(
      TlsIdentity(chain, folder.Path("good.key")).Share(), ::SSL_CTX_free);
  STACK_OF(X509)* issuers = nullptr;
  ::SSL_CTX_get0_chain_certs(context.get(), &issuers);
  EXPECT_EQ(sk_X509_num(issuers), 1);
}

TEST_F(TlsIdentityTest, RefusesAKeyOfAnotherCertificate) {
  MakeCertificate(folder, "other", "DNS:bench.example");
  EXPECT_THAT(
      Refusal("good.crt", "other.key"),
      AllOf(HasSubstr("other.key: expected the key of the certificate in"), HasSubstr("good.crt")));
}

TEST_F(TlsIdentityTest, RefusesFilesThatAreSomethingElse) {
  EXPECT_THAT(Refusal("good.key", "good.crt"),
              HasSubstr("expected a certificate in PEM form, found \"PRIVATE KEY\""));
  EXPECT_THAT(Refusal("good.crt", "good.crt"),
              HasSubstr("expected a private key in PEM form, found \"CERTIFICATE\""));
  (void)folder.Write("empty", "");
  EXPECT_THAT(Refusal("empty", "good.key"), HasSubstr("found nothing of the kind"));
  EXPECT_THAT(Refusal("good.crt", "empty"), HasSubstr("found nothing of the kind"));
  EXPECT_THROW(TlsIdentity(folder.Path("none"), folder.Path("good.key")), CannotReadFile);
  EXPECT_THROW(TlsIdentity(folder.Path("good.crt"), folder.Path("none")), CannotReadFile);
}

TEST_F(TlsIdentityTest, RefusesADamagedCertificateWhereverItIs) {
  std::string damaged = folder.Read("good.crt");
  damaged[damaged.size() / 2] = '!';
  (void)folder.Write("damaged.crt", damaged);
  EXPECT_THAT(Refusal("damaged.crt", "good.key"), HasSubstr("found one that is damaged"));
  (void)folder.Write("chain.crt", folder.Read("good.crt") + damaged);
  EXPECT_THAT(Refusal("chain.crt", "good.key"), HasSubstr("found one that is damaged"));
}

TEST_F(TlsIdentityTest, RefusesAnEncryptedKeyWithoutAskingForItsPassphrase) {
  OpenSsl(folder, "pkey -in good.key -aes256 -passout pass:secret -out encrypted.key");
  EXPECT_THAT(Refusal("good.crt", "encrypted.key"),
              HasSubstr("expected a key that needs no passphrase, found an encrypted one"));
  OpenSsl(folder, "ec -in good.key -aes256 -passout pass:secret -out old.key");
  EXPECT_THAT(Refusal("good.crt", "old.key"), HasSubstr("found an encrypted one"));
}

TEST_F(TlsIdentityTest, RefusesACertificateThatIsNotValidNow) {
  EXPECT_THAT(Refusal("good.crt", "good.key", 24h * 10),
              MatchesRegex(".*good.crt: expected a certificate that is valid today, [0-9-]{10}; "
                           "this one is from [0-9-]{10} to [0-9-]{10}"));
  EXPECT_THAT(Refusal("good.crt", "good.key", -24h * 10), HasSubstr("valid today"));
  EXPECT_EQ(Refusal("good.crt", "good.key", 1h), "none");
}

TEST_F(TlsIdentityTest, RefusesACertificateWithoutTheNameOfAHost) {
  MakeCertificate(folder, "nameless", "");
  EXPECT_THAT(Refusal("nameless.crt", "nameless.key"), HasSubstr("(subjectAltName), found none"));
  MakeCertificate(folder, "person", "email:nobody@bench.example");
  EXPECT_THAT(Refusal("person.crt", "person.key"), HasSubstr("(subjectAltName), found none"));
}

TEST_F(TlsIdentityTest, RefusesAKeyThatIsTooSmall) {
  OpenSsl(folder,
          "req -x509 -newkey rsa:1024 -nodes -subj /CN=test -addext subjectAltName=DNS:a "
          "-keyout small.key -out small.crt");
  EXPECT_THAT(Refusal("small.crt", "small.key"), HasSubstr("too small"));
}

TEST_F(TlsIdentityTest, NoRefusalHasAnythingOfTheKey) {
  std::string key = folder.Read("good.key");
  const std::string secret = key.substr(key.find('\n') + 1, 60);
  key.insert(key.size() / 2, "!");
  (void)folder.Write("damaged.key", key);
  EXPECT_THAT(Refusal("good.crt", "damaged.key"), Not(HasSubstr(secret)));
}

}  // namespace
}  // namespace quillmark::host

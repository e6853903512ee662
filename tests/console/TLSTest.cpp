// SPDX-License-Identifier: MIT
// Encrypted connections.
// Before the HTTP library, which gives names of its own to everybody.
#include "tests/console/ConsoleFixture.h"

#include <gmock/gmock.h>
#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>

namespace {

using TFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TFile OpenFile(std::string const& Path) {
  return {std::fopen(Path.c_str(), "w"), std::fclose};
}

/// Writes a key and a certificate that it has signed itself.
void MakeCertificate(std::string const& CertificatePath, std::string const& KeyPath) {
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> const Key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  std::unique_ptr<X509, decltype(&X509_free)> const Certificate(X509_new(), X509_free);
  constexpr long kDay = 86400;
  X509_gmtime_adj(X509_getm_notBefore(Certificate.get()), -kDay);
  X509_gmtime_adj(X509_getm_notAfter(Certificate.get()), kDay);
  X509_set_pubkey(Certificate.get(), Key.get());
  X509_sign(Certificate.get(), Key.get(), EVP_sha256());
  PEM_write_X509(OpenFile(CertificatePath).get(), Certificate.get());
  PEM_write_PrivateKey(OpenFile(KeyPath).get(), Key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

class TLSTest : public TConsoleFixture {
 protected:
  TLSTest() {
    AddUser("anna", "viewer");
    MakeCertificate(File("certificate"), File("key"));
  }
  void StartEncrypted() {
    StartConsole(
        {"--certificate", File("certificate"), "--key", File("key"), "--request-seconds", "1"});
  }
  std::unique_ptr<httplib::SSLClient> NewBrowser() const {
    auto Browser = std::make_unique<httplib::SSLClient>("127.0.0.1", m_Port);
    Browser->enable_server_certificate_verification(false);
    return Browser;
  }
};

TEST_F(TLSTest, EncryptsSigningInAndItsCookie) {
  StartEncrypted();

  auto const Reply = NewBrowser()->Post(kSession, R"({"user":"anna","password":"correct horse"})",
                                        "application/json");

  ASSERT_TRUE(Reply);
  EXPECT_EQ(Reply->status, 200);
  EXPECT_THAT(Reply->get_header_value("Set-Cookie"),
              ::testing::MatchesRegex("__Host-property=.*; SameSite=Strict; Secure"));
  EXPECT_EQ(Reply->get_header_value("Strict-Transport-Security"), "max-age=31536000");
}

TEST_F(TLSTest, RefusesALargeBodyWithAnAnswer) {
  StartEncrypted();

  auto const Reply =
      NewBrowser()->Post(kSession, std::string(std::size_t{5} << 20, ' '), "application/json");

  ASSERT_TRUE(Reply);
  EXPECT_EQ(Reply->status, 413);
}

TEST_F(TLSTest, EndsWhatIsNoHandshake) {
  StartEncrypted();
  TConnection const Plain(m_Port);
  Plain.Send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  TConnection const Silent(m_Port);

  EXPECT_EQ(Plain.HearAll(), "");
  EXPECT_EQ(Silent.HearAll(), "");
  auto const Reply = NewBrowser()->Get(kSession);
  ASSERT_TRUE(Reply);
  EXPECT_EQ(Reply->status, 401);
}

TEST_F(TLSTest, EncryptsStreams) {
  StartEncrypted();
  auto const SignedIn = NewBrowser()->Post(
      kSession, R"({"user":"anna","password":"correct horse"})", "application/json");
  ASSERT_TRUE(SignedIn);
  std::string const Cookie = SignedIn->get_header_value("Set-Cookie");
  std::string Heard;
  bool HasChanged = false;

  NewBrowser()->Get(
      "/api/v1/events", {{"Cookie", Cookie.substr(0, Cookie.find(';'))}},
      [&](char const* Data, std::size_t Size) {
        Heard.append(Data, Size);
        if (!HasChanged && Heard.find("{\"connected\":true}\n\n") != std::string::npos) {
          HasChanged = true;
          Property({"set", "Brightness=60"});
        }
        return Heard.find("\"value\":\"60\"") == std::string::npos;
      });

  EXPECT_THAT(Heard, ::testing::StartsWith("retry: 1000\n\nevent: connection\n"));
  EXPECT_THAT(Heard, ::testing::HasSubstr("\"number\":111,"));
}

TEST_F(TLSTest, NeedsAKeyThatFits) {
  MakeCertificate(File("other"), File("key"));
  auto const Console = Start({CONSOLE_PROGRAM, "--port", "0", "--users", File("users"),
                              "--certificate", File("certificate"), "--key", File("key")});

  EXPECT_EQ(Console->End(), 1);
  EXPECT_THAT(Console->Errors(),
              ::testing::StartsWith("property-console: cannot use the key " + File("key")));
}

}  // namespace

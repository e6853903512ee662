// SPDX-License-Identifier: MIT
// The example of receipts, run with a real server.
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tests/integration/ProcessFixture.h"

namespace {

class ReceiptsExample : public TProcessFixture {
 protected:
  std::unique_ptr<TProcess> StartExample() const {
    auto Program = std::make_unique<TProcess>(
        std::vector<std::string>{SETTINGS_RECEIPTS},
        std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()},
                                           {"PROPERTY_OWN_MAC", kThisDevice}});
    EXPECT_EQ(Program->Hear(), "ready");
    return Program;
  }
};

}  // namespace

TEST_F(ReceiptsExample, SaysWhatIsStoredAndWhyItIsNot) {
  std::ofstream(File("server.toml")) << "[limits]\nvalue_bytes = 3\n";
  auto const Server = StartServer({"--config", File("server.toml")});
  auto const Program = StartExample();
  EXPECT_EQ(Program->Ask("70"), "stored");
  EXPECT_NE(Program->Ask("7000").find("value_bytes"), std::string::npos);
}

// A library is loaded only from where nobody else can change it, as in the test's own folder.
TEST_F(ReceiptsExample, SaysWhatTheSchemaDoesNotAllow) {
  std::filesystem::copy_file(GATEWAY_SCHEMA, File("gateway.so"));
  auto const Server = StartServer({"--schema", File("gateway.so")});
  auto const Program = StartExample();
  EXPECT_EQ(Program->Ask("70"), "stored");
  EXPECT_EQ(Program->Ask("bright"),
            "Device/Identity/DisplayBrightness: 'bright' is no whole number from -2147483648 to "
            "2147483647");
}

TEST_F(ReceiptsExample, TakesAStepFromWhereAnotherHasStopped) {
  auto const Server = StartServer();
  auto const First = StartExample();
  auto const Second = StartExample();
  EXPECT_EQ(First->Ask("70"), "stored");
  EXPECT_EQ(Second->Ask("step"), "71");
  EXPECT_EQ(First->Ask("step"), "72");
  EXPECT_EQ(Second->Ask("step"), "73");
}

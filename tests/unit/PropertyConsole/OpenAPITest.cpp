// SPDX-License-Identifier: MIT
// The description of the interface, beside the routes that there are.
#include "PropertyConsole/OpenAPI.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "PropertyConsole/TCChangeRoutes.h"
#include "PropertyConsole/TCConsole.h"
#include "PropertyConsole/TCEventRoutes.h"
#include "PropertyConsole/TCMetricsRoutes.h"
#include "PropertyConsole/TCPropertyRoutes.h"
#include "tests/support/PrivateFolder.h"

namespace {

using namespace Property;
using TNames = std::set<std::string>;

class OpenAPI : public ::testing::Test {
 protected:
  ~OpenAPI() override { std::filesystem::remove_all(m_Folder); }

  static std::string Upper(std::string Text) {
    std::transform(Text.begin(), Text.end(), Text.begin(),
                   [](unsigned char Letter) { return static_cast<char>(std::toupper(Letter)); });
    return Text;
  }
  TNames Described() const {
    TNames Names;
    for (auto const& [Path, Methods] : m_Description.at("paths").items()) {
      for (auto const& [Method, Operation] : Methods.items()) {
        Names.insert(Upper(Method) + " " + Path);
      }
    }
    return Names;
  }
  static void AddTo(TNames& Names, TCRoutes const& Routes) {
    for (TSRoute const& Route : Routes.get_All()) {
      Names.insert(Route.Method + " " + Route.Path);
    }
  }
  TNames Routed() const {
    TSConsoleSettings Settings;
    Settings.Users = m_Folder + "/users";
    TCConsole const Console(Settings);
    TNames Names;
    AddTo(Names, Console.get_Routes());
    AddTo(Names, TCPropertyRoutes::Listed());
    AddTo(Names, TCChangeRoutes::Listed());
    AddTo(Names, TCEventRoutes::Listed());
    AddTo(Names, TCMetricsRoutes::Listed());
    return Names;
  }

  std::string const m_Folder = MakePrivateFolder();
  nlohmann::json const m_Description = nlohmann::json::parse(kOpenAPI);
};

TEST_F(OpenAPI, DescribesEachRouteAndNoOther) {
  EXPECT_EQ(Described(), Routed());
}

TEST_F(OpenAPI, RefersToWhatThereIs) {
  std::string const Text = kOpenAPI;
  std::string const Mark = "\"$ref\": \"#";
  int Count = 0;
  for (std::size_t Place = Text.find(Mark); Place != std::string::npos;
       Place = Text.find(Mark, Place + 1)) {
    std::size_t const Begin = Place + Mark.size();
    std::string const Way = Text.substr(Begin, Text.find('"', Begin) - Begin);
    EXPECT_TRUE(m_Description.contains(nlohmann::json::json_pointer(Way))) << Way;
    ++Count;
  }
  EXPECT_GT(Count, 0);
}

}  // namespace

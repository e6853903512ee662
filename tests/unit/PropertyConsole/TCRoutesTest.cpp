// SPDX-License-Identifier: MIT
// Routes: which path and method leads where.
#include "PropertyConsole/TCRoutes.h"

#include <gtest/gtest.h>

namespace {

using Property::TCRoutes;
using Property::TSAnswer;

class Routes : public ::testing::Test {
 protected:
  Routes() {
    Add("GET", "/values");
    Add("POST", "/values");
    Add("GET", "/values/{number}/of/{mac}");
  }
  void Add(char const* Method, char const* Path) {
    m_Routes.Add({Method, Path, std::nullopt, [](auto const&) { return TSAnswer(); }});
  }
  /// Method and path of the route; "" for none.
  std::string Find(std::string const& Method, std::string const& Path) const {
    auto const Match = m_Routes.Find(Method, Path);
    return Match.Route != nullptr ? Match.Route->Method + " " + Match.Route->Path : "";
  }

  TCRoutes m_Routes;
};

TEST_F(Routes, AreFoundByMethodAndPath) {
  EXPECT_EQ(Find("GET", "/values"), "GET /values");
  EXPECT_EQ(Find("POST", "/values"), "POST /values");
}

TEST_F(Routes, AnswerHeadAsGet) {
  EXPECT_EQ(Find("HEAD", "/values"), "GET /values");
}

TEST_F(Routes, TakePartsOfThePath) {
  auto const Match = m_Routes.Find("GET", "/values/12/of/02:00:00:00:00:01");

  EXPECT_EQ(Match.Parameters.at("number"), "12");
  EXPECT_EQ(Match.Parameters.at("mac"), "02:00:00:00:00:01");
}

TEST_F(Routes, AreNotFoundByAnotherPath) {
  for (char const* Path : {"", "/", "values", "/values/", "//values", "/VALUES", "/values/12",
                           "/values//of/x", "/values/1/of/", "/values/1/of/2/3", "/value"}) {
    EXPECT_EQ(Find("GET", Path), "") << Path;
    EXPECT_EQ(m_Routes.Find("GET", Path).Methods, "") << Path;
  }
}

TEST_F(Routes, SayWhichMethodsAPathHas) {
  auto const Match = m_Routes.Find("PUT", "/values");

  EXPECT_EQ(Match.Route, nullptr);
  EXPECT_EQ(Match.Methods, "GET, POST");
}

TEST_F(Routes, StandPathsOfAnyLength) {
  EXPECT_EQ(Find("GET", std::string(1 << 20, '/')), "");
  EXPECT_EQ(Find("GET", "/values/" + std::string(1 << 20, 'x') + "/of/y"),
            "GET /values/{number}/of/{mac}");
}

}  // namespace

// SPDX-License-Identifier: MIT
// Which files of the page are answered, and what browsers may do with them.
#include "PropertyConsole/TCPageRoutes.h"

#include <gmock/gmock.h>

namespace {

using namespace Property;

class PageRoutes : public ::testing::Test {
 protected:
  PageRoutes() { m_Page.AddTo(m_Routes); }

  TSAnswer Get(std::string const& Path, std::string const& Accepted = "") const {
    TSRequest Request;
    Request.Headers.emplace("accept-encoding", Accepted);
    auto const Match = m_Routes.Find("GET", Path);
    EXPECT_NE(Match.Route, nullptr);
    return Match.Route->Handler({Request, {}, {}, ""});
  }
  static std::string HeaderOf(TSAnswer const& Answer, std::string const& Wanted) {
    for (auto const& [Name, Value] : Answer.Headers) {
      if (Name == Wanted) {
        return Value;
      }
    }
    return "";
  }

  TCPageRoutes const m_Page{
      {{"/", "text/html", "page", {}}, {"/assets/a-1.js", "text/javascript", "script", "packed"}}};
  TCRoutes m_Routes;
};

TEST_F(PageRoutes, AnswerToWhoHasNotSignedIn) {
  for (char const* Path : {"/", "/assets/a-1.js"}) {
    auto const Match = m_Routes.Find("GET", Path);
    ASSERT_NE(Match.Route, nullptr) << Path;
    EXPECT_FALSE(Match.Route->Needed) << Path;
    EXPECT_EQ(m_Routes.Find("POST", Path).Route, nullptr) << Path;
  }
}

TEST_F(PageRoutes, HaveTheFilesAlone) {
  for (char const* Path :
       {"/assets", "/assets/", "/assets/a-2.js", "/assets/../main.cpp", "/a-1.js", "/index.html"}) {
    EXPECT_EQ(m_Routes.Find("GET", Path).Route, nullptr) << Path;
  }
}

TEST_F(PageRoutes, SayWhatAFileIs) {
  EXPECT_EQ(Get("/").Body, "page");
  EXPECT_EQ(Get("/").ContentType, "text/html");
  EXPECT_EQ(Get("/assets/a-1.js").ContentType, "text/javascript");
}

TEST_F(PageRoutes, HaveThePageAskedForAgainAndFilesWithMarksKept) {
  EXPECT_EQ(HeaderOf(Get("/"), "Cache-Control"), "no-cache");
  EXPECT_EQ(HeaderOf(Get("/assets/a-1.js"), "Cache-Control"),
            "public, max-age=31536000, immutable");
}

TEST_F(PageRoutes, LetThePageLoadFromTheConsoleAloneAndRunNothingInline) {
  std::string const Policy = HeaderOf(Get("/"), "Content-Security-Policy");

  EXPECT_THAT(Policy, ::testing::StartsWith("default-src 'none'; script-src 'self'; "));
  EXPECT_THAT(Policy, ::testing::Not(::testing::HasSubstr("unsafe")));
  EXPECT_THAT(Policy, ::testing::Not(::testing::HasSubstr("http")));
}

TEST_F(PageRoutes, ArePackedForWhoTakesThat) {
  for (char const* Accepted : {"gzip", "deflate, gzip", "br,gzip;q=0.5", " gzip ; q=1"}) {
    TSAnswer const Answer = Get("/assets/a-1.js", Accepted);
    EXPECT_EQ(Answer.Body, "packed") << Accepted;
    EXPECT_EQ(HeaderOf(Answer, "Content-Encoding"), "gzip") << Accepted;
    EXPECT_EQ(HeaderOf(Answer, "Vary"), "Accept-Encoding") << Accepted;
  }
}

TEST_F(PageRoutes, AreAsTheyAreForOthers) {
  for (char const* Accepted : {"", "br", "gzip;q=0", "gzip; q=0.000", "x-gzip", ",;,"}) {
    TSAnswer const Answer = Get("/assets/a-1.js", Accepted);
    EXPECT_EQ(Answer.Body, "script") << Accepted;
    EXPECT_EQ(HeaderOf(Answer, "Content-Encoding"), "") << Accepted;
  }
}

TEST_F(PageRoutes, AreAsTheyAreWherePackingSavesNothing) {
  TSAnswer const Answer = Get("/", "gzip");

  EXPECT_EQ(Answer.Body, "page");
  EXPECT_EQ(HeaderOf(Answer, "Content-Encoding"), "");
}

}  // namespace

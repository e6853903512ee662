// SPDX-License-Identifier: MIT
// Answers with files and says how long browsers may keep them.
#include "PropertyConsole/TCPageRoutes.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace Property {
namespace {

// Nothing from elsewhere, and no script, style or form within the page itself.
constexpr char kPagePolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; form-action 'none'; frame-ancestors 'none'; base-uri 'none'; "
    "require-trusted-types-for 'script'; trusted-types 'none'";
// What has its content's mark in its name never changes; the page itself names the marks of today.
constexpr char kKept[] = "public, max-age=31536000, immutable";
constexpr char kAskedAgain[] = "no-cache";

std::string_view WithoutBlanks(std::string_view Text) {
  Text.remove_prefix(std::min(Text.find_first_not_of(" \t"), Text.size()));
  return Text.substr(0, Text.find_last_not_of(" \t") + 1);
}

// "gzip", "gzip;q=0.5" among others divided by commas; with the weight 0 it is refused.
bool TakesGzip(std::string_view Accepted) {
  while (!Accepted.empty()) {
    std::string_view Coding = Accepted.substr(0, Accepted.find(','));
    Accepted.remove_prefix(std::min(Coding.size() + 1, Accepted.size()));
    std::size_t const NameEnd = std::min(Coding.find(';'), Coding.size());
    if (WithoutBlanks(Coding.substr(0, NameEnd)) == "gzip") {
      std::string_view const Weight = WithoutBlanks(Coding.substr(NameEnd));
      return Weight.find_first_of("123456789", Weight.find('=')) != std::string_view::npos ||
             Weight.find("q=") == std::string_view::npos;
    }
  }
  return false;
}

}  // namespace

void TCPageRoutes::AddTo(TCRoutes& Routes) const {
  for (TSPageFile const& File : m_Files) {
    Routes.Add({"GET", File.Path, std::nullopt,
                [&File](TSCall const& Call) { return AnswerOf(File, Call.Request); }});
  }
}

TSAnswer TCPageRoutes::AnswerOf(TSPageFile const& File, TSRequest const& Request) {
  bool const IsPacked = !File.Packed.empty() && TakesGzip(Request.Header("accept-encoding"));
  TSAnswer Answer;
  Answer.Body = IsPacked ? File.Packed : File.Content;
  Answer.ContentType = File.ContentType;
  bool const IsPage = std::string_view(File.Path) == "/";
  Answer.Headers = {{"Cache-Control", IsPage ? kAskedAgain : kKept},
                    {"Content-Security-Policy", kPagePolicy},
                    {"Vary", "Accept-Encoding"}};
  if (IsPacked) {
    Answer.Headers.emplace_back("Content-Encoding", "gzip");
  }
  return Answer;
}

}  // namespace Property

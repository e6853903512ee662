// SPDX-License-Identifier: MIT
// How each mistake in a configuration is refused, with its whole message.
#include <ostream>
#include <string>
#include <vector>

#include "ConfigurationFixture.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct TSMistake {
  char const* Name;
  std::string Text;
  std::string Message;
};

void PrintTo(TSMistake const& Mistake, std::ostream* Out) {
  *Out << Mistake.Name;
}

class ServerConfigurationMistake : public ::testing::TestWithParam<TSMistake> {};

TEST_P(ServerConfigurationMistake, IsRefusedWithItsLine) {
  EXPECT_EQ(Refusal(GetParam().Text), "property.toml:" + GetParam().Message);
}

namespace {

std::string const kNoRange =
    ", expected a number from 0 to 2147483647 or a range such as \"200-209\"";
std::string const kNobody = ", expected \"user:NAME\", \"group:NAME\" or \"everybody\"";
std::string const kRootKeys = ", expected group, secret, limits, history or rule";

std::vector<TSMistake> const kMistakes = {
    {"UnknownKey", "\ncolour = 1", "2: unknown key \"colour\"" + kRootKeys},
    {"UnknownKeyWithControlCharacters", "\"a\\n\\u0000\\u007F\" = 1",
     "1: unknown key \"a\\n\\x00\\x7f\"" + kRootKeys},
    {"UnknownLongKey", std::string(100, 'k') + " = 1",
     "1: unknown key \"" + std::string(64, 'k') + "...\"" + kRootKeys},
    {"UnknownLongKeyCutBetweenCharacters", "\"" + std::string(63, 'k') + "\\u00e9x\" = 1",
     "1: unknown key \"" + std::string(63, 'k') + "...\"" + kRootKeys},
    {"UnknownTable", "[limit]\n", "1: unknown key \"limit\"" + kRootKeys},
    {"UnknownDottedKey", "a.b.c = 1", "1: unknown key \"a\"" + kRootKeys},
    {"UnknownLimit", "[limits]\nproperties = 1",
     "2: unknown key \"properties\" in limits, expected values, bytes, waiting_bytes, value_bytes, "
     "mail_bytes, "
     "mail_records, "
     "mails_per_second, "
     "connections_per_user or connections"},
    {"UnknownHistoryKey", "[history]\nage = 1",
     "2: unknown key \"age\" in history, expected entries, bytes or days"},
    {"UnknownRuleKey", Rule("deny = [\"everybody\"]"),
     "3: unknown key \"deny\" in rule, expected properties, read or write"},

    {"GroupOfAnotherType", "group = 5", "1: group is 5, expected the name of a group as a text"},
    {"GroupThatIsATruthValue", "group = true",
     "1: group is true, expected the name of a group as a text"},
    {"GroupThatIsAList", "group = [\"a\"]",
     "1: group is a list, expected the name of a group as a text"},
    {"GroupThatIsADate", "group = 1979-05-27",
     "1: group is a date or time, expected the name of a group as a text"},
    {"UnknownGroup", "group = \"unheard\"",
     "1: group is \"unheard\", expected a group that this system has"},
    {"AbsentGroup", "group = \"absent\"",
     "1: group is \"absent\", expected a group that this system has"},
    {"EmptyGroup", "group = \"\"", "1: group is \"\", expected a group that this system has"},
    {"GroupThatIsNoNumber", "group = \"4294967295\"",
     "1: group is \"4294967295\", expected a group that this system has"},
    {"GroupThatOverflows", "group = \"99999999999999\"",
     "1: group is \"99999999999999\", expected a group that this system has"},
    {"GroupNameWithAZeroByte", "group = \"property\\u0000\"",
     "1: group is \"property\\x00\", expected a group that this system has"},
    {"GroupThatCanNotBeLookedUp", "group = \"broken\"",
     "1: group is \"broken\", which can not be looked up: Input/output error"},
    {"GroupThatNeverFits", "group = \"endless\"",
     "1: group is \"endless\", which can not be looked up: Numerical result out of range"},

    {"SecretsThatAreNoList", "secret = 5", "1: secret is 5, expected a list of property numbers"},
    {"NoSecrets", "secret = []", "1: secret is an empty list, expected property numbers"},
    {"NegativeSecret", "secret = [\n  -1]", "2: secret names -1" + kNoRange},
    {"OverflowingSecret", "secret = [2147483648]", "1: secret names 2147483648" + kNoRange},
    {"SecretWithAFraction", "secret = [1.5]",
     "1: secret names a number with a fraction" + kNoRange},
    {"SecretList", "secret = [[1]]", "1: secret names a list" + kNoRange},
    {"SecretThatIsNoRange", "secret = [\"12\"]", "1: secret names \"12\"" + kNoRange},
    {"EmptySecret", "secret = [\"\"]", "1: secret names \"\"" + kNoRange},
    {"RangeWithoutEnd", "secret = [\"12-\"]", "1: secret names \"12-\"" + kNoRange},
    {"RangeWithoutBeginning", "secret = [\"-12\"]", "1: secret names \"-12\"" + kNoRange},
    {"RangeToANegativeNumber", "secret = [\"1--2\"]", "1: secret names \"1--2\"" + kNoRange},
    {"RangeOfThree", "secret = [\"1-2-3\"]", "1: secret names \"1-2-3\"" + kNoRange},
    {"RangeWithSpaces", "secret = [\"1 - 2\"]", "1: secret names \"1 - 2\"" + kNoRange},
    {"OverflowingRange", "secret = [\"1-2147483648\"]",
     "1: secret names \"1-2147483648\"" + kNoRange},
    {"ReversedRange", "secret = [\n1,\n\"9-8\"]",
     "3: secret names \"9-8\", expected the lower number first"},
    {"OverlappingRanges", "secret = [\n\"10-20\",\n\"5-10\"]",
     "3: secret names 10 twice, expected each property once"},
    {"RepeatedNumber", "secret = [\n7,\n8,\n7]",
     "4: secret names 7 twice, expected each property once"},

    {"LimitsThatAreNoSection", "limits = 5", "1: limits is 5, expected a section [limits]"},
    {"SeveralLimits", "[[limits]]", "1: limits is a list, expected a section [limits]"},
    {"HistoryThatIsNoSection", "history = \"x\"",
     "1: history is \"x\", expected a section [history]"},
    {"LimitOfAnotherType", "[limits]\nconnections = \"9\"",
     "2: limits.connections is \"9\", expected a number from 1 to 100000"},
    {"LimitWithAFraction", "[limits]\nconnections = 9.0",
     "2: limits.connections is a number with a fraction, expected a number from 1 to 100000"},
    {"NoConnections", "[limits]\nconnections = 0",
     "2: limits.connections is 0, expected a number from 1 to 100000"},
    {"TooManyConnectionsOfAUser", "[limits]\nconnections_per_user = 100001",
     "2: limits.connections_per_user is 100001, expected a number from 1 to 100000"},
    {"NegativeLimit", "[limits]\nvalue_bytes = -1",
     "2: limits.value_bytes is -1, expected a number from 1 to 67108864"},
    {"LargeLimit", "[limits]\nmail_bytes = 67108865",
     "2: limits.mail_bytes is 67108865, expected a number from 1 to 67108864"},
    {"LimitThatOverflows", "[limits]\nmails_per_second = 4294967297",
     "2: limits.mails_per_second is 4294967297, expected a number from 1 to 1000000"},
    {"NegativeEntries", "[history]\nentries = -1",
     "2: history.entries is -1, expected a number from 0 to 1000000000"},
    {"TooManyBytes", "[history]\nbytes = 1099511627777",
     "2: history.bytes is 1099511627777, expected a number from 0 to 1099511627776"},
    {"NoDays", "[history]\ndays = 0", "2: history.days is 0, expected a number from 1 to 36500"},

    {"RulesThatAreNoList", "rule = 5", "1: rule is 5, expected sections [[rule]]"},
    {"OneRuleSection", "[rule]\nproperties = [1]",
     "1: rule is a table, expected sections [[rule]]"},
    {"NoRules", "rule = []", "1: rule is an empty list, expected sections [[rule]]"},
    {"RuleThatIsNoTable", "rule = [\n5]", "2: rule is 5, expected sections [[rule]]"},
    {"RuleWithoutProperties", "\n[[rule]]\nread = [\"everybody\"]",
     "2: rule has no properties, expected the numbers that it is about"},
    {"RuleThatSaysNothing", "[[rule]]\nproperties = [1]",
     "1: rule has neither read nor write, expected at least one of them"},
    {"RuleWithoutNumbers", "[[rule]]\nproperties = []\nread = [\"everybody\"]",
     "2: rule.properties is an empty list, expected property numbers"},
    {"RuleWithABadNumber", "[[rule]]\nproperties = [true]\nread = [\"everybody\"]",
     "2: rule.properties names true" + kNoRange},
    {"RuleWithARepeatedNumber", "[[rule]]\nproperties = [3, \"1-5\"]\nread = [\"everybody\"]",
     "2: rule.properties names 3 twice, expected each property once"},
    {"RuleBehindAnother",
     Rule("read = [\"everybody\"]") + "[[rule]]\nproperties = [100]\nwrite = [\"everybody\"]",
     "4: rule decides nothing, because rules before it name all its properties, expected it "
     "before them"},
    {"RuleBehindSeveralOthers",
     "[[rule]]\nproperties = [\"1-5\"]\nread = [\"everybody\"]\n"
     "[[rule]]\nproperties = [\"6-9\"]\nread = [\"everybody\"]\n"
     "[[rule]]\nproperties = [\"1-2\", \"4-7\", 9]\nread = [\"everybody\"]\n",
     "7: rule decides nothing, because rules before it name all its properties, expected it "
     "before them"},

    {"ReadThatIsNoList", Rule("read = \"everybody\""),
     "3: rule.read is \"everybody\", expected a list of users and groups"},
    {"WriteForNobody", Rule("write = []"),
     "3: rule.write is an empty list, expected users and groups"},
    {"ReaderOfAnotherType", Rule("read = [5]"), "3: rule.read names 5" + kNobody},
    {"ReaderWithoutKind", Rule("read = [\"panel\"]"), "3: rule.read names \"panel\"" + kNobody},
    {"ReaderOfAnUnknownKind", Rule("read = [\"role:panel\"]"),
     "3: rule.read names \"role:panel\"" + kNobody},
    {"UserWithoutName", Rule("read = [\"user:\"]"), "3: rule.read names \"user:\"" + kNobody},
    {"GroupWithoutName", Rule("read = [\"group:\"]"), "3: rule.read names \"group:\"" + kNobody},
    {"EverybodyWithAName", Rule("read = [\"everybody:\"]"),
     "3: rule.read names \"everybody:\"" + kNobody},
    {"UnknownUser", Rule("read = [\"everybody\",\n\"user:unheard\"]"),
     "4: rule.read names \"user:unheard\", expected a user that this system has"},
    {"UserThatIsAGroup", Rule("write = [\"user:operators\"]"),
     "3: rule.write names \"user:operators\", expected a user that this system has"},
    {"UnknownGroupInARule", Rule("write = [\"group:panel\"]"),
     "3: rule.write names \"group:panel\", expected a group that this system has"},
    {"UserWithAZeroByte", Rule("write = [\"user:panel\\u0000x\"]"),
     "3: rule.write names \"user:panel\\x00x\", expected a user that this system has"},
    {"UserThatIsNoNumber", Rule("write = [\"user:4294967295\"]"),
     "3: rule.write names \"user:4294967295\", expected a user that this system has"},
    {"UserThatCanNotBeLookedUp", Rule("write = [\"user:broken\"]"),
     "3: rule.write names \"user:broken\", which can not be looked up: Input/output error"},

    {"LongLine", "\n#" + std::string(1024, 'x'),
     "2: the line is longer than 1024 bytes, expected a list to be spread over several lines"},
    {"LetterInAKey", "\ngr\xc3\xb6\xc3\x9f = 1",
     "2: a character that is not ASCII, expected only in comments"},
    {"LetterBehindAText", "group = \"\\\"#\" \xef\xbb\xbb#\"",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterBehindALiteralText", "group = '\\' \xef\xbb\xbb",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterInAText", "group = \"\xc3\xa9\"",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterBehindTheBeginningOfAText", "group = \"#\xc3\xa9",
     "1: a character that is not ASCII, expected only in comments"},
    {"LetterThatIsNone", "\ngroup = \"\xff\"",
     "2: a character that is not ASCII, expected only in comments"},
    {"TextOfSeveralLines", "\ngroup = \"\"\"\n\"\"\"",
     "2: three quotation marks, expected a text on one line"},
    {"LiteralTextOfSeveralLines", "group = '''\nx'''",
     "1: three quotation marks, expected a text on one line"},
    {"VeryDeepKey",
     "[" +
         [] {
           std::string Key;
           for (int Part = 0; Part < 100000; ++Part) {
             Key += "a.";
           }
           return Key;
         }() +
         "a]",
     "1: the line is longer than 1024 bytes, expected a list to be spread over several lines"},
    {"LargeFile", std::string(1048577, '\n'),
     " the file is larger than 1048576 bytes, expected less"},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Files, ServerConfigurationMistake, ::testing::ValuesIn(kMistakes),
                         [](auto const& Info) { return Info.param.Name; });

// What follows the line is the TOML reader's own.
class ServerConfigurationSyntax : public ::testing::TestWithParam<TSMistake> {};

TEST_P(ServerConfigurationSyntax, IsRefusedWithItsLine) {
  EXPECT_THAT(Refusal(GetParam().Text),
              StartsWith("property.toml:" + GetParam().Message + ": no valid TOML: "));
}

INSTANTIATE_TEST_SUITE_P(
    Files, ServerConfigurationSyntax,
    ::testing::Values(
        TSMistake{"NoValue", "\ngroup =\n", "2"}, TSMistake{"OpenText", "group = \"x\n", "1"},
        TSMistake{"RepeatedKey", "secret = [1]\nsecret = [2]\n", "2"},
        TSMistake{"RepeatedSection", "[limits]\n[limits]\n", "2"},
        TSMistake{"NumberThatOverflows", "\n\nsecret = [9223372036854775808]\n", "3"},
        TSMistake{"InvalidCharacters", "#\n# \xff\n", "2"},
        TSMistake{"OverlongCharacters", "# \xc0\x80\n", "1"},
        TSMistake{"ZeroByte", std::string("\n\0", 2), "2"},
        TSMistake{"SectionWithoutBeginning", "\n[.a]\n", "2"},
        TSMistake{"SectionWithASign", "[+]\n", "1"}, TSMistake{"SectionBrokenOff", "[\n]\n", "1"},
        TSMistake{"ListSectionWithASign", "[[+]]\n", "1"},
        TSMistake{"DeepList", "secret = [[[[[[[[[1]]]]]]]]]", "1"},
        TSMistake{"DeepListOverManyLines", "secret = [\n[\n[\n[\n[\n[\n[\n[\n[\n1", "9"},
        TSMistake{"OpenList", "secret = [1,\n2,\n", "2"}),
    [](auto const& Info) { return Info.param.Name; });

TEST(ServerConfigurationRefusal, IsOnOneLine) {
  EXPECT_THAT(Refusal("secret = [t\n1]\n"),
              AllOf(StartsWith("property.toml:1: no valid TOML: "), Not(HasSubstr("\n"))));
}

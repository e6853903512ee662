// SPDX-License-Identifier: MIT
// Figures as text: names, kinds, labels, and what is left out.
#include "PropertyConsole/ConsoleMetrics.h"

#include <gmock/gmock.h>

namespace {

using namespace Property;
using ::testing::HasSubstr;

TEST(ConsoleMetricsTest, CountsAnswersByTheClassOfTheirStatus) {
  TSConsoleCounters Counters;
  for (int Status : {200, 204, 404, 503, 599, 600, 999999, -1, 0}) {
    Counters.CountAnswer(Status);
  }

  EXPECT_THAT(ConsoleMetrics(Counters, {}),
              HasSubstr("# HELP property_console_requests_total Answered requests, by the class of "
                        "the status.\n"
                        "# TYPE property_console_requests_total counter\n"
                        "property_console_requests_total{status=\"2xx\"} 2\n"
                        "property_console_requests_total{status=\"3xx\"} 0\n"
                        "property_console_requests_total{status=\"4xx\"} 1\n"
                        "property_console_requests_total{status=\"5xx\"} 2\n"));
}

TEST(ConsoleMetricsTest, TellsWhatHasBecomeOfSignInsAndChanges) {
  TSConsoleCounters Counters;
  Counters.SignIns = 1;
  Counters.FailedSignIns = 2;
  Counters.SlowedSignIns = 3;
  Counters.Changes = 4;
  Counters.Conflicts = 5;
  Counters.Refusals = 6;

  std::string const Text = ConsoleMetrics(Counters, {});

  EXPECT_THAT(Text, HasSubstr("property_console_sign_ins_total{result=\"done\"} 1\n"
                              "property_console_sign_ins_total{result=\"failed\"} 2\n"
                              "property_console_sign_ins_total{result=\"too_many\"} 3\n"));
  EXPECT_THAT(Text, HasSubstr("property_console_transactions_total{result=\"made\"} 4\n"
                              "property_console_transactions_total{result=\"conflict\"} 5\n"
                              "property_console_transactions_total{result=\"refused\"} 6\n"));
}

TEST(ConsoleMetricsTest, TellsHowTheConsoleIs) {
  std::string const Text = ConsoleMetrics({}, {3, 200, true});

  EXPECT_THAT(Text, HasSubstr("\nproperty_console_sessions 3\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_streams 200\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_connected 1\n"));
}

TEST(ConsoleMetricsTest, TellsTheServersNumbers) {
  EXPECT_EQ(ServerMetrics({{"values", "14"}, {"refused mails", "0"}}),
            "# HELP property_server_values Stored values.\n"
            "# TYPE property_server_values gauge\n"
            "property_server_values 14\n"
            "# HELP property_server_refused_mails_total Mails with changes, refused or malformed.\n"
            "# TYPE property_server_refused_mails_total counter\n"
            "property_server_refused_mails_total 0\n");
}

TEST(ConsoleMetricsTest, TellsTimesInSeconds) {
  EXPECT_THAT(ServerMetrics({{"last commit", "1790000000000042"}}),
              HasSubstr("\nproperty_server_last_commit_timestamp_seconds 1790000000.000042\n"));
  EXPECT_THAT(ServerMetrics({{"last commit", "0"}}),
              HasSubstr("\nproperty_server_last_commit_timestamp_seconds 0.000000\n"));
}

TEST(ConsoleMetricsTest, TellsWhetherThereIsTroubleAndNotWhich) {
  EXPECT_THAT(ServerMetrics({{"trouble", "none"}}), HasSubstr("\nproperty_server_trouble 0\n"));
  EXPECT_THAT(ServerMetrics({{"trouble", "disk full\nevil 1"}}),
              ::testing::EndsWith("\nproperty_server_trouble 1\n"));
}

TEST(ConsoleMetricsTest, LeavesOutWhatIsNoNumberOrNotKnown) {
  EXPECT_EQ(ServerMetrics({{"values", "many"},
                           {"values", "-1"},
                           {"values", "1 2"},
                           {"values", "1\nevil 2"},
                           {"values", "99999999999999999999999"},
                           {"values", ""},
                           {"last commit", "x"},
                           {"durability", "full"},
                           {"evil{a=\"b\"}", "1"}}),
            "");
}

}  // namespace

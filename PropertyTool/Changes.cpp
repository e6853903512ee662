// SPDX-License-Identifier: MIT
// Sends changes and finds out what became of them.
#include "PropertyTool/Changes.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/ControlMails.h"
#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCToolFailure.h"
#include "ServerClient/ServerValues.h"

namespace Property {
namespace {

constexpr std::chrono::hours kLongestPending{7 * 24};

// The number of the transaction that this process's last mail was taken with; empty when it has
// changed nothing.
std::string RequireTaken(TCToolContext& Context, std::string const& Advice) {
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kOutcome.Type,
                     PropertyControl::kOutcome.Name);
  Context.get_Server().Ask(Mail);
  if (Mail.RecordCount() == 0) {
    return std::string();
  }
  TCControlRecord const& Record = Mail.GetMailRecord(0)->get_Record();
  if (Record.m_Refused.get_AsBool()) {
    std::string const Reason = "the property server refuses: " + Record.m_Text.get_AsString();
    throw Advice.empty() ? TCToolFailure(TEExit::eRefused, Reason)
                         : TCToolFailure(TEExit::eRefused, Reason, Advice);
  }
  return Record.m_Transaction.get_AsString();
}

// A change that the server takes back by itself unless it is confirmed.
TSNorvMailContent PendingChange(std::vector<TSPropertyValue> const& Values, int Seconds) {
  TCControlRecord Record;
  TCNorvMailBody::TCWriter Writer(Record.get_Signature());
  Record.m_Seconds = Seconds;
  Record.Encode(Writer);
  Record.m_Seconds.Unassign();
  for (TSPropertyValue const& Value : Values) {
    SetPlace(Record, Value.Place);
    Record.m_Data.set_AsString(Value.Data);
    Record.Encode(Writer);
  }
  return {Norv_ControlMail, PropertyControl::kChange.Type, PropertyControl::kChange.Name,
          Writer.Finish()};
}

std::string CheckConfirmation(std::string const& Text) {
  auto const Time = ReadDuration(Text);
  bool const IsGood = Time && *Time >= std::chrono::seconds(1) && *Time <= kLongestPending;
  return IsGood ? "" : "\"" + Text + "\" is no duration from 1s to 7d";
}

}  // namespace

void TSChangeOptions::DeclareTimeout(CLI::App& Command) {
  Command.add_option("--timeout", Timeout, "How long to wait for it to be stored, as 10s or 5m")
      ->check(CheckDuration)
      ->capture_default_str()
      ->type_name("DURATION");
}

void TSChangeOptions::Declare(CLI::App& Command) {
  Command.add_flag("--no-wait", NoWait, "Return when the change is sent, not when it is stored");
  DeclareTimeout(Command);
  Command.get_option("--timeout")->excludes("--no-wait");
}

void TSChangeOptions::DeclareWithConfirmation(CLI::App& Command) {
  Declare(Command);
  Command
      .add_option("--confirm-within", ConfirmWithin,
                  "The server takes the change back by itself after this time,\n"
                  "unless property confirm comes; prints the transaction")
      ->check(CheckConfirmation)
      ->excludes("--no-wait")
      ->type_name("DURATION");
}

std::chrono::milliseconds TSChangeOptions::get_Timeout() const {
  return ReadDuration(Timeout).value_or(std::chrono::minutes(1));
}

std::string CheckTransaction(std::string const& Text) {
  bool const IsGood = !Text.empty() && Text.size() < 19 &&
                      Text.find_first_not_of("0123456789") == std::string::npos;
  return IsGood ? "" : "\"" + Text + "\" is no transaction's number";
}

void SettleDevice(TCToolContext& Context, TSTarget& Target) {
  if (Target.IsDeviceOpen) {
    AskForCurrent(Context, Target);
  }
  if (Target.IsDeviceOpen) {
    throw TCToolFailure(TEExit::eRefused,
                        "nothing says whose value property " + std::to_string(Target.Place.Number) +
                            " is; say --mac own for this device's or --mac none for the system's");
  }
}

std::string Change(TCToolContext& Context, std::vector<TSPropertyValue> const& Values,
                   TSChangeOptions const& Options) {
  auto const Time = ReadDuration(Options.ConfirmWithin);
  return SendChange(
      Context,
      Time ? PendingChange(Values, static_cast<int>(Time->count() / 1000)) : ChangeMail(Values),
      Options);
}

std::string SendChange(TCToolContext& Context, TSNorvMailContent const& Mail,
                       TSChangeOptions const& Options) {
  Context.get_Server().Send(Mail);
  if (Options.NoWait) {
    return std::string();
  }
  Context.get_Server().WaitUntilStored(static_cast<int>(Options.get_Timeout().count()));
  return RequireTaken(Context, Options.Advice);
}

nlohmann::ordered_json NumberOf(std::string const& Transaction) {
  return Transaction.empty() ? nlohmann::ordered_json()
                             : nlohmann::ordered_json(std::stoll(Transaction));
}

void TellTransaction(TCToolContext& Context, std::string const& Transaction,
                     TSChangeOptions const& Options) {
  if (!Options.ConfirmWithin.empty() && !Transaction.empty()) {
    std::fprintf(stderr, "property: taken back in %s unless \"property confirm %s\" comes\n",
                 Options.ConfirmWithin.c_str(), Transaction.c_str());
  }
  if (Context.get_Output().get_Form() == TEForm::eJSON) {
    Context.get_Output().JSON({{"transaction", NumberOf(Transaction)}});
  }
}

}  // namespace Property

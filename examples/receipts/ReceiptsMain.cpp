// SPDX-License-Identifier: MIT
// Changes a value by commands on its standard input, and says of each whether it is stored.
#include <exception>
#include <iostream>
#include <string>

#include "CommonProperties/TCPropertyCollection.h"
#include "GatewaySchema.h"
#include "Platform/Utility/PrintableText.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TCScopedTransaction.h"

using Gateway::Prop_DisplayBrightness;

namespace {

constexpr int kPatience = 10000;  // milliseconds

void Store(std::string const& Percent) {
  SetProperty(Prop_DisplayBrightness, Percent);
  auto const Result = Property::TCPropertyReceipt::OfLast().Wait(kPatience);
  if (Result.Outcome == Property::eReceiptRefused) {
    std::cout << PrintableLine(Result.Refusals.at(0).Reason) << std::endl;
  } else {
    std::cout << (Result.Outcome == Property::eReceiptDurable ? "stored" : "not known")
              << std::endl;
  }
}

// Of several processes that do this at once, none undoes what another has done.
void Step() {
  Property::TSConditionalCommit Commit;
  do {
    Property::TCScopedTransaction Transaction;
    auto const Value = GetProperty(Prop_DisplayBrightness);
    Transaction.Expect(Value);
    Transaction.Set(Prop_DisplayBrightness, std::to_string(Value.get_AsInteger() + 1));
    Commit = Transaction.CommitIfUnchanged();
  } while (Commit.Outcome == Property::eCommitConflict);
  std::cout << GetProperty(Prop_DisplayBrightness).get_AsInteger() << std::endl;
}

}  // namespace

int main() {
  try {
    Property::TCPropertyCollectionDriver::Create(true);
    std::cout << "ready" << std::endl;
    for (std::string Line; std::getline(std::cin, Line);) {
      Line == "step" ? Step() : Store(Line);
    }
    return 0;
  } catch (std::exception const& Failure) {
    std::cerr << "settings-receipts: " << Failure.what() << std::endl;
    return 1;
  }
}

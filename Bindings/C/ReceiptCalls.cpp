// SPDX-License-Identifier: MIT
// The calls about what has become of changes.
#include <memory>
#include <string>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/PropertyReceipt.h"
#include "Bindings/C/TCStoreOpening.h"
#include "Platform/Utility/PrintableText.h"

using namespace Property;
using namespace Property::C;

namespace {

property_status StatusOf(TEPropertyReceipt Outcome) {
  switch (Outcome) {
    case eReceiptDurable:
      return PROPERTY_OK;
    case eReceiptRefused:
      return PROPERTY_REFUSED;
    case eReceiptTimedOut:
      return PROPERTY_TIMED_OUT;
    case eReceiptClosed:
      return PROPERTY_CLOSED;
    case eReceiptUnknown:
      break;
  }
  return PROPERTY_UNKNOWN;
}

bool IsFinal(property_status Status) {
  return Status != PROPERTY_TIMED_OUT && Status != PROPERTY_CLOSED;
}

std::string DescribeWait(property_receipt::TSKnown const& Known) {
  if (Known.Status == PROPERTY_REFUSED && !Known.Refusals.empty()) {
    return Known.Refusals.front().Reason;
  }
  return property_status_text(Known.Status);
}

property_receipt::TSKnown const& Wait(property_receipt& Receipt, int Timeout) {
  TSPropertyReceipt const Result = Receipt.Changes.Wait(Timeout);
  property_receipt::TSKnown Known{StatusOf(Result.Outcome), Result.Refusals, Result.Complete};
  if (!IsFinal(Known.Status)) {
    throw TCBorderFailure(Known.Status, DescribeWait(Known));
  }
  for (TSPropertyRefusal& Refusal : Known.Refusals) {
    Refusal.Reason = PrintableText(Refusal.Reason);
  }
  Receipt.Know(std::move(Known));
  return *Receipt.get_Known();
}

TSPropertyRefusal const& RefusalOf(property_receipt const* Receipt, std::size_t Index) {
  Require(Receipt, "receipt");
  property_receipt::TSKnown const* const Known = Receipt->get_Known();
  std::size_t const Count = Known != nullptr ? Known->Refusals.size() : 0;
  if (Index >= Count) {
    throw TCBorderFailure(PROPERTY_NOT_FOUND, "there is no refusal " + std::to_string(Index) +
                                                  " of " + std::to_string(Count));
  }
  return Known->Refusals[Index];
}

// Null where nothing is known, or there is none.
char const* StandingText(TSPropertyRefusal const& Refusal, TCPropertyKey const& Key) {
  for (TSStandingValue const& Standing : Refusal.Standing) {
    bool const Same = !(Standing.Key < Key) && !(Key < Standing.Key);
    if (Same && Standing.Data) {
      return Standing.Data->c_str();
    }
  }
  return nullptr;
}

property_status NewReceipt(property_store const* Store, TCPropertyReceipt (*Make)(),
                           property_receipt** Receipt) {
  return Cross([&] {
    Require(Store, "store");
    Require(Receipt, "receipt");
    TCStoreOpening::Get().RequireOwnProcess();
    *Receipt = new property_receipt(Make());
  });
}

}  // namespace

property_status property_receipt_last(property_store const* store, property_receipt** receipt) {
  return NewReceipt(store, TCPropertyReceipt::OfLast, receipt);
}

property_status property_receipt_all(property_store const* store, property_receipt** receipt) {
  return NewReceipt(store, TCPropertyReceipt::OfAll, receipt);
}

property_status property_receipt_wait(property_receipt* receipt, int32_t timeout) {
  return Cross([&] {
    Require(receipt, "receipt");
    RequireTimeout(timeout);
    TCStoreOpening::Get().RequireOwnProcess();
    property_receipt::TSKnown const* const Before = receipt->get_Known();
    property_receipt::TSKnown const& Known = Before != nullptr ? *Before : Wait(*receipt, timeout);
    if (Known.Status != PROPERTY_OK) {
      throw TCBorderFailure(Known.Status, DescribeWait(Known));
    }
  });
}

property_status property_refusal_count(property_receipt const* receipt, size_t* count,
                                       int32_t* complete) {
  return Cross([&] {
    Require(receipt, "receipt");
    Require(count, "count");
    property_receipt::TSKnown const* const Known = receipt->get_Known();
    *count = Known != nullptr ? Known->Refusals.size() : 0;
    if (complete != nullptr) {
      *complete = Known != nullptr && Known->Complete ? 1 : 0;
    }
  });
}

property_status property_refusal_reason(property_receipt const* receipt, size_t refusal,
                                        char const** reason) {
  return Cross([&] {
    Require(reason, "reason");
    *reason = RefusalOf(receipt, refusal).Reason.c_str();
  });
}

property_status property_refusal_value(property_receipt const* receipt, size_t refusal,
                                       size_t index, property_value** value,
                                       char const** standing) {
  return Cross([&] {
    Require(value, "value");
    TSPropertyRefusal const& Refusal = RefusalOf(receipt, refusal);
    if (index >= Refusal.Keys.size()) {
      throw TCBorderFailure(PROPERTY_NOT_FOUND, "the refusal is about " +
                                                    std::to_string(Refusal.Keys.size()) +
                                                    " values, not " + std::to_string(index + 1));
    }
    *value = NewValue(Refusal.Keys[index]);
    if (standing != nullptr) {
      *standing = StandingText(Refusal, Refusal.Keys[index]);
    }
  });
}

void property_free_receipt(property_receipt* receipt) {
  delete receipt;
}

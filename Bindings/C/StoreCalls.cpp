// SPDX-License-Identifier: MIT
// The calls about the library and the store.
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/TCStoreOpening.h"
#include "Platform/Utility/TCMACAddress.h"

using namespace Property::C;

char const* property_version() {
  return PROPERTY_VERSION;
}

char const* property_status_text(property_status status) {
  static constexpr char const* kTexts[] = {"done",
                                           "failed",
                                           "memory has run out",
                                           "an argument breaks a rule",
                                           "the time has passed",
                                           "it has ended",
                                           "there is none",
                                           "the name fits several properties",
                                           "the property is of another type",
                                           "the property may not have this value",
                                           "there is no value",
                                           "there is no schema",
                                           "the process has another store",
                                           "it belongs to another thread",
                                           "the thread has a transaction open",
                                           "it has ended on this thread",
                                           "the transaction has set the value otherwise",
                                           "the server has refused it",
                                           "values are not as expected",
                                           "nobody knows any more",
                                           "the thread has a read guard",
                                           "the process is a fork of the one with the store"};
  static_assert(std::size(kTexts) == PROPERTY_IN_CHILD + 1);
  if (status < 0 || status > PROPERTY_IN_CHILD) {
    return "an unknown status";
  }
  return kTexts[status];
}

char const* property_last_error() {
  return LastFailure();
}

void property_free(void* memory) {
  std::free(memory);
}

property_status property_open(char const* const* schemas, uint32_t flags, int32_t timeout,
                              property_store** store) {
  return Cross([&] {
    Require(store, "store");
    RequireTimeout(timeout);
    if ((flags & ~PROPERTY_ALL_DEVICES) != 0) {
      throw TCBorderFailure(PROPERTY_BAD_ARGUMENT,
                            "flags that nobody knows: " + std::to_string(flags));
    }
    std::vector<std::string> Paths;
    for (char const* const* Path = schemas; Path != nullptr && *Path != nullptr; ++Path) {
      Paths.emplace_back(*Path);
    }
    if (schemas != nullptr && Paths.empty()) {
      throw TCBorderFailure(PROPERTY_BAD_ARGUMENT, "the list of schemas is empty");
    }
    TCStoreOpening::Get().Open(schemas != nullptr ? &Paths : nullptr,
                               (flags & PROPERTY_ALL_DEVICES) != 0, timeout);
    *store = new property_store;
  });
}

void property_close(property_store* store) {
  delete store;
}

property_status property_schema_problems(property_store const* store, char** text) {
  return Cross([&] {
    Require(store, "store");
    GiveText(TCStoreOpening::Get().DescribeProblems(), text, nullptr);
  });
}

property_status property_own_device(property_store const* store, char** text) {
  return Cross([&] {
    Require(store, "store");
    GiveText(TCMACAddress::Own("").get_AsString(':'), text, nullptr);
  });
}

property_status property_guard_enter(property_store const* store) {
  return Cross([&] {
    Require(store, "store");
    TCThreadPart::EnterGuard();
  });
}

property_status property_guard_leave(property_store const* store) {
  return Cross([&] {
    Require(store, "store");
    if (!TCThreadPart::LeaveGuard()) {
      throw TCBorderFailure(PROPERTY_ENDED, "this thread has no read guard");
    }
  });
}

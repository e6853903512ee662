// SPDX-License-Identifier: MIT
// Uses something of every installed folder and catches an exception that the library throws.
#include <iostream>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

namespace {

Property::TCPropertyContainer Device("device", 1, "This device", 1);
Property::TCPropertyID Brightness("brightness", 2, "Display brightness", 1, 0x10, 80);

}  // namespace

int main() {
  Property::TCBasicPropertyID::Initialize();
  std::cout << Brightness.get_Typename() << '\n';
  std::cout << TCMACAddress("00:11:22:33:44:55").get_AsString('-') << '\n';
  std::cout << TCNorvMailClassID("property", 2).get_Name() << '\n';
  bool const Created = Property::TCPropertyCollectionDriver::get_Created();
  std::cout << (Created ? "created" : "not created") << '\n';
  try {
    Property::TCPropertyCollection::get();
  } catch (TCException const& Refusal) {
    std::cout << Refusal.what() << '\n';
  }
  return 0;
}

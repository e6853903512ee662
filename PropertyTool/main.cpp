// SPDX-License-Identifier: MIT
// property: looks at the properties of this device and changes them.
#include "PropertyTool/TCTool.h"

int main(int Count, char** Arguments) {
  return Property::RunTool(Count, Arguments);
}

// SPDX-License-Identifier: MIT
// A schema library of 5,000 properties in 50 groups.
#include <deque>
#include <string>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"

using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;

namespace {

constexpr int kDeviceClass = 1;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;
constexpr int kGroups = 50;
constexpr int kFieldsOfAGroup = 100;
constexpr int kFirstGroup = 10000;

TCPropertyContainer Plant("Plant", 1, "Plant", kDeviceClass);

/// All that lies in the container; a deque's elements stay where they are.
struct TSNodes {
  std::deque<TCPropertyGroup> Groups;
  std::deque<TCPropertyID> Fields;

  TSNodes() {
    for (int Group = 0; Group < kGroups; ++Group) {
      std::string const Letter = std::to_string(Group);
      int const Number = kFirstGroup + 1000 * Group;
      Groups.emplace_back("Unit" + Letter, Number, "Unit " + Letter, false);
      TCPropertyLink const Link(Groups.back(), Plant);
      for (int Field = 1; Field <= kFieldsOfAGroup; ++Field) {
        std::string const Place = Letter + "_" + std::to_string(Field);
        Fields.emplace_back("Setting" + Place, Number + Field, "Setting " + Place, Number,
                            Field % 2 == 0 ? kInteger : kText, Field % 2 == 0 ? "7" : "text");
      }
    }
  }
};

TSNodes const Nodes;

}  // namespace

// SPDX-License-Identifier: MIT
// A small schema for tests of names and values. Objects live as long as the process, as nodes do.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"

constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;

inline Property::TCPropertyContainer& AddContainer(std::string const& Name, int Number,
                                                   int ClassID = 1) {
  return *new Property::TCPropertyContainer(Name, Number, "", ClassID);
}

inline Property::TCPropertyGroup& AddGroup(std::string const& Name, int Number,
                                           Property::TCPropertyContainer const& Container) {
  auto& Group = *new Property::TCPropertyGroup(Name, Number, std::string(), false);
  Property::TCPropertyLink const Link(Group, Container);
  return Group;
}

inline Property::TCPropertyID& AddField(std::string const& Name, int Number, int Parent,
                                        int Flags) {
  return *new Property::TCPropertyID(Name, Number, std::string(),
                                     Accessories::TCNullTypes<int>(Parent), Flags);
}

inline Property::TCPropertyChoice& AddChoice(std::string const& Name,
                                             std::string const& Description, int Number,
                                             bool Default, Property::TCPropertyID& Field,
                                             std::string const& Value) {
  return *new Property::TCPropertyChoice(Name, Description, Number, Default, &Field, Value);
}

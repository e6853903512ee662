// SPDX-License-Identifier: MIT
// Device-linked and system-wide fields for the tests of the store.
#pragma once

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

/// The nodes and references stay in the process's registries: one schema a process.
struct TStoreSchema {
  Accessories::TCNullTypes<int> const m_NoParent{};

  // Class 1 is linked to the device: one value a device.
  Property::TCPropertyContainer& m_Device =
      *new Property::TCPropertyContainer("Device", 1000, "", 1);
  Property::TCPropertyID& m_Name = *new Property::TCPropertyID("Name", 1001, "", 1000, 0x20);
  Property::TCPropertyID& m_Count = *new Property::TCPropertyID("Count", 1002, "", 1000, 0x10);
  Property::TCPropertyID& m_Flag = *new Property::TCPropertyID("Flag", 1003, "", 1000, 0x08);
  Property::TCPropertyID& m_Mode = *new Property::TCPropertyID("Mode", 1010, "", 1000, 0x10);
  Property::TCPropertyChoice& m_Off =
      *new Property::TCPropertyChoice("Off", "Switched off", 1011, false, &m_Mode, "off");
  Property::TCPropertyChoice& m_On =
      *new Property::TCPropertyChoice("On", "Switched on", 1012, true, &m_Mode, "on");
  Property::TCPropertyChoiceID& m_OffID = *new Property::TCPropertyChoiceID("", 1011, "Off");
  Property::TCPropertyChoiceID& m_OnID = *new Property::TCPropertyChoiceID("", 1012, "On");

  // Classes 2 and 5 are system-wide: one value for all devices.
  Property::TCPropertyContainer& m_Site = *new Property::TCPropertyContainer("Site", 2000, "", 2);
  Property::TCPropertyID& m_SiteName =
      *new Property::TCPropertyID("SiteName", 2001, "", 2000, 0x20);
  Property::TCPropertyID& m_SiteMode =
      *new Property::TCPropertyID("SiteMode", 2010, "", 2000, 0x10);
  Property::TCPropertyChoice& m_Low =
      *new Property::TCPropertyChoice("Low", "Low level", 2011, true, &m_SiteMode, "low");
  Property::TCPropertyChoice& m_High =
      *new Property::TCPropertyChoice("High", "High level", 2012, false, &m_SiteMode, "high");
  Property::TCPropertyChoiceID& m_LowID = *new Property::TCPropertyChoiceID("", 2011, "Low");
  Property::TCPropertyChoiceID& m_HighID = *new Property::TCPropertyChoiceID("", 2012, "High");
  Property::TCPropertyContainer& m_Plant = *new Property::TCPropertyContainer("Plant", 3000, "", 5);
  Property::TCPropertyID& m_PlantName =
      *new Property::TCPropertyID("PlantName", 3001, "", 3000, 0x20);

  /// Of no class.
  Property::TCPropertyID& m_Loose =
      *new Property::TCPropertyID("Loose", 4001, "", m_NoParent, 0x20);
};

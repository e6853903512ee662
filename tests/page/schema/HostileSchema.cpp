// SPDX-License-Identifier: MIT
// A schema library whose names and texts would do harm on a page that believed them.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;
using Property::TCValidRegexPropertySettings;

namespace {

constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;
constexpr int kDeviceClass = 1;

constexpr char kScript[] = "<script>window.harmed=1</script>";
constexpr char kImage[] = "<img src=x onerror=window.harmed=1>";

TCPropertyContainer Device(kScript, 1, kImage, kDeviceClass);
TCPropertyGroup Group("\"><b>group", 10, "</title><svg onload=window.harmed=1>", false);
TCPropertyLink GroupOfDevice(Group, Device);
TCPropertyID Plain("Plain", 11, kScript, 10, kText, kImage);
TCPropertyID Turned("Turned", 12,
                    "Turned \xe2\x80\xae"
                    "daer",
                    10, kText);
TCPropertyID Bytes("Bytes", 13, "Bytes \xff\xfe", 10, kText);
TCPropertyID Chosen("Chosen", 14, "Chosen", 10, kInteger);
TCPropertyChoice First("__proto__", kImage, 141, true, &Chosen, "first");
TCPropertyChoice Second("constructor", "javascript:window.harmed=1", 142, false, &Chosen, "second");
TCPropertyID Slow("Slow", 15, "Slow to match", 10, kText);
TCValidRegexPropertySettings PatternOfSlow(&Slow, "^[[:alpha:]]*$");
TCPropertyID Wrong("Wrong", 16, "Pattern that is none", 10, kText);
TCPropertyID Round("Round", 17, "Governed by what it governs", 10, kBoolean, true);
TCPropertyID About("About", 18, "Governs what governs it", 10, kBoolean, true);
TCPropertyDependency AboutOfRound(&Round, &About, 1);
TCPropertyDependency RoundOfAbout(&About, &Round, 1);

}  // namespace

// SPDX-License-Identifier: MIT
// Declares the gateway's properties: static objects that enter themselves into the schema.
//
// Within this file objects are constructed from top to bottom, so each one stands below those that
// it names: a group below its container, a field below its group, a choice below its field.
#include "GatewaySchema.h"

#include <algorithm>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

using Property::TCCommonPropertyObject;
using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using Property::TCPropertyShowControl;
using Property::TCValidRegexPropertySettings;

namespace Gateway {

namespace {

// What a field's flags are made of: one type, and what a user interface does with it.
constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;
constexpr int kHidden = 0x01;
constexpr int kAdvanced = 0x04;

// The classes of the containers. They decide whether a value belongs to one device (1, 3, 7 and 9)
// or to all (2, 5 and 11). Classes 5 and 9 are for records only: asked for all values of a field,
// the store leaves out those without a link.
constexpr int kDeviceClass = 1;
constexpr int kPolicyClass = 2;
constexpr int kInputClass = 3;
constexpr int kInstallationClass = 11;
constexpr int kOutputClass = 7;
constexpr int kModemClass = 9;
constexpr int kUserClass = 5;

// The tables that fill database lookups.
constexpr int kZoneTable = 1;
constexpr int kOperatorTable = 2;
constexpr int kLanguageTable = 3;

constexpr int kSameValue = 1;  // a dependency's mode: the target applies when the source is chosen

constexpr char kPhonePattern[] = "^\\+?[0-9 ]{3,20}$";

}  // namespace

// ---- Installation ----

namespace {
TCPropertyContainer Installation("Installation", 1000, "Installation", kInstallationClass);
TCPropertyGroup Group_Site("Site", 1010, "Site and contact", false);
TCPropertyLink SiteOfInstallation(Group_Site, Installation);
TCPropertyGroup Group_Mail("Mail", 1020, "Notification by mail", false);
TCPropertyLink MailOfInstallation(Group_Mail, Installation);
}  // namespace

TCPropertyID Prop_SiteName("SiteName", 1011, "Name of the site", Group_Site.get_Number(), kText);
TCPropertyID Prop_SiteAddress("SiteAddress", 1012, "Postal address", Group_Site.get_Number(),
                              kText);
TCPropertyID Prop_ContactName("ContactName", 1013, "Person in charge", Group_Site.get_Number(),
                              kText);
TCPropertyID Prop_ContactPhone("ContactPhone", 1014, "Telephone of the person in charge",
                               Group_Site.get_Number(), kText);
TCPropertyID Prop_ServiceCode("ServiceCode", 1015, "Code of the service technician",
                              Group_Site.get_Number(), kText | kHidden);

TCPropertyID Prop_MailEnabled("MailEnabled", 1021, "Send mail", Group_Mail.get_Number(), kBoolean,
                              false);
TCPropertyID Prop_MailServer("MailServer", 1022, "Mail server", Group_Mail.get_Number(), kText);
TCPropertyID Prop_MailSecurity("MailSecurity", 1023, "Encryption", Group_Mail.get_Number(),
                               kInteger | kAdvanced);
TCPropertyID Prop_MailPort("MailPort", 1024, "Port of the mail server", Group_Mail.get_Number(),
                           kInteger | kAdvanced, 587);
TCPropertyID Prop_MailSender("MailSender", 1025, "Sender", Group_Mail.get_Number(), kText);
TCPropertyID Prop_MailRecipient("MailRecipient", 1026, "Recipient", Group_Mail.get_Number(), kText);

namespace {
TCPropertyChoice MailPlain("Plain", "None", 10231, false, &Prop_MailSecurity, "plain");
TCPropertyChoice MailStartTLS("StartTLS", "STARTTLS", 10232, true, &Prop_MailSecurity, "starttls");
TCPropertyChoice MailTLS("TLS", "TLS", 10233, false, &Prop_MailSecurity, "tls");

TCPropertyDependency ServerOfMail(&Prop_MailEnabled, &Prop_MailServer, kSameValue);
TCPropertyDependency SenderOfMail(&Prop_MailEnabled, &Prop_MailSender, kSameValue);
TCPropertyDependency RecipientOfMail(&Prop_MailEnabled, &Prop_MailRecipient, kSameValue);
// The port that goes with each kind of encryption.
TCPropertyDependency PortOfPlain(&MailPlain, &Prop_MailPort, "25", kSameValue);
TCPropertyDependency PortOfStartTLS(&MailStartTLS, &Prop_MailPort, "587", kSameValue);
TCPropertyDependency PortOfTLS(&MailTLS, &Prop_MailPort, "465", kSameValue);

TCValidRegexPropertySettings PatternOfContactPhone(&Prop_ContactPhone, kPhonePattern);
}  // namespace

// ---- Access policy ----

namespace {
TCPropertyContainer Policy("Policy", 1100, "Access policy", kPolicyClass);
TCPropertyGroup Group_Access("Access", 1110, "Codes and sessions", false);
TCPropertyLink AccessOfPolicy(Group_Access, Policy);
}  // namespace

TCPropertyID Prop_PinLength("PinLength", 1111, "Least digits of a code", Group_Access.get_Number(),
                            kInteger, 6);
TCPropertyID Prop_AttemptsUntilLock("AttemptsUntilLock", 1112, "Wrong codes until a user is locked",
                                    Group_Access.get_Number(), kInteger, 5);
TCPropertyID Prop_LockMinutes("LockMinutes", 1113, "Minutes for which a user is locked",
                              Group_Access.get_Number(), kInteger, 15);
TCPropertyID Prop_SessionMinutes("SessionMinutes", 1114, "Idle minutes until a session ends",
                                 Group_Access.get_Number(), kInteger | kAdvanced, 10);

// ---- Device ----

namespace {
TCPropertyContainer Device("Device", 1200, "Device", kDeviceClass);
TCPropertyGroup Group_Identity("Identity", 1210, "Identity", false);
TCPropertyLink IdentityOfDevice(Group_Identity, Device);
}  // namespace

TCPropertyID Prop_DeviceName("DeviceName", 1211, "Name of the device", Group_Identity.get_Number(),
                             kText, "Gateway");
TCPropertyID Prop_Location("Location", 1212, "Place of installation", Group_Identity.get_Number(),
                           kText);
TCPropertyID Prop_SerialNumber("SerialNumber", 1213, "Serial number", Group_Identity.get_Number(),
                               kText | kHidden);
TCPropertyID Prop_DisplayBrightness("DisplayBrightness", 1214, "Brightness in percent",
                                    Group_Identity.get_Number(), kInteger, 80);

TCPropertyGroup Group_Network("Network", 1220, "Network", false);
namespace {
TCPropertyLink NetworkOfDevice(Group_Network, Device);
}  // namespace

TCPropertyID Prop_HostName("HostName", 1221, "Host name", Group_Network.get_Number(), kText,
                           "gateway");
TCPropertyID Prop_AddressMode("AddressMode", 1222, "Assignment of the address",
                              Group_Network.get_Number(), kInteger);
TCPropertyID Prop_IPAddress("IPAddress", 1223, "Address", Group_Network.get_Number(), kText);
TCPropertyID Prop_NetMask("NetMask", 1224, "Network mask", Group_Network.get_Number(), kText,
                          "255.255.255.0");
TCPropertyID Prop_DefaultGateway("DefaultGateway", 1225, "Default gateway",
                                 Group_Network.get_Number(), kText);
TCPropertyID Prop_NameServer("NameServer", 1226, "Name server", Group_Network.get_Number(), kText);
TCPropertyID Prop_PacketSize("PacketSize", 1227, "Largest packet in bytes",
                             Group_Network.get_Number(), kInteger | kAdvanced, 1500);
TCPropertyID Prop_VirtualNetwork("VirtualNetwork", 1228, "Virtual network, 0 for none",
                                 Group_Network.get_Number(), kInteger | kAdvanced, 0);

namespace {
TCPropertyChoice AddressAutomatic("Automatic", "Automatic (DHCP)", 12221, true, &Prop_AddressMode,
                                  "automatic");
TCPropertyChoice AddressStatic("Static", "Static", 12222, false, &Prop_AddressMode, "static");
TCPropertyChoice AddressLinkLocal("LinkLocal", "Link-local only", 12223, false, &Prop_AddressMode,
                                  "link-local");

TCPropertyDependency AddressOfStatic(&AddressStatic, &Prop_IPAddress, kSameValue);
TCPropertyDependency MaskOfStatic(&AddressStatic, &Prop_NetMask, kSameValue);
TCPropertyDependency GatewayOfStatic(&AddressStatic, &Prop_DefaultGateway, kSameValue);

TCValidRegexPropertySettings PatternOfHostName(&Prop_HostName,
                                               "^[a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?$");

TCPropertyGroup Group_Time("Time", 1230, "Time", false);
TCPropertyLink TimeOfDevice(Group_Time, Device);
}  // namespace

TCPropertyDBLookup Prop_TimeZone("TimeZone", 1231, "Time zone", Group_Time.get_Number(), kText,
                                 kZoneTable, "name", true);
TCPropertyID Prop_TimeServerEnabled("TimeServerEnabled", 1232, "Set the clock from the network",
                                    Group_Time.get_Number(), kBoolean, true);
TCPropertyID Prop_TimeServer("TimeServer", 1233, "Time server", Group_Time.get_Number(), kText,
                             "pool.ntp.org");
TCPropertyID Prop_TimeInterval("TimeInterval", 1234, "Seconds between two queries",
                               Group_Time.get_Number(), kInteger | kAdvanced, 3600);

namespace {
TCPropertyDependency ServerOfTime(&Prop_TimeServerEnabled, &Prop_TimeServer, kSameValue);
TCPropertyDependency IntervalOfTime(&Prop_TimeServerEnabled, &Prop_TimeInterval, kSameValue);

TCPropertyGroup Group_Log("Log", 1240, "Logging", false);
TCPropertyLink LogOfDevice(Group_Log, Device);
}  // namespace

TCPropertyID Prop_LogLevel("LogLevel", 1241, "Least severity that is logged",
                           Group_Log.get_Number(), kInteger);
TCPropertyID Prop_LogDays("LogDays", 1242, "Days for which the log is kept", Group_Log.get_Number(),
                          kInteger, 30);
TCPropertyID Prop_LogRemote("LogRemote", 1243, "Log to a server too", Group_Log.get_Number(),
                            kBoolean, false);
TCPropertyID Prop_LogServer("LogServer", 1244, "Log server", Group_Log.get_Number(), kText);
TCPropertyID Prop_LogPort("LogPort", 1245, "Port of the log server", Group_Log.get_Number(),
                          kInteger | kAdvanced, 514);

namespace {
TCPropertyChoice LogError("Error", "Errors", 12411, false, &Prop_LogLevel, "error");
TCPropertyChoice LogWarning("Warning", "Warnings", 12412, false, &Prop_LogLevel, "warning");
TCPropertyChoice LogNotice("Notice", "Notices", 12413, true, &Prop_LogLevel, "notice");
TCPropertyChoice LogInfo("Info", "Information", 12414, false, &Prop_LogLevel, "info");
TCPropertyChoice LogDebug("Debug", "Everything", 12415, false, &Prop_LogLevel, "debug");

TCPropertyDependency ServerOfLog(&Prop_LogRemote, &Prop_LogServer, kSameValue);
TCPropertyDependency PortOfLog(&Prop_LogRemote, &Prop_LogPort, kSameValue);

TCPropertyGroup Group_Update("Update", 1250, "Software update", false);
TCPropertyLink UpdateOfDevice(Group_Update, Device);
}  // namespace

TCPropertyID Prop_UpdateAutomatic("UpdateAutomatic", 1251, "Update automatically",
                                  Group_Update.get_Number(), kBoolean, true);
TCPropertyID Prop_UpdateChannel("UpdateChannel", 1252, "Releases that are installed",
                                Group_Update.get_Number(), kInteger | kAdvanced);
TCPropertyID Prop_UpdateHour("UpdateHour", 1253, "Hour of the day", Group_Update.get_Number(),
                             kInteger, 3);

namespace {
TCPropertyChoice UpdateStable("Stable", "Stable releases", 12521, true, &Prop_UpdateChannel,
                              "stable");
TCPropertyChoice UpdateCandidate("Candidate", "Release candidates", 12522, false,
                                 &Prop_UpdateChannel, "candidate");

TCPropertyDependency HourOfUpdate(&Prop_UpdateAutomatic, &Prop_UpdateHour, kSameValue);
}  // namespace

// ---- Mobile modem ----

namespace {
TCPropertyContainer Modem("Modem", 1300, "Mobile modem", kModemClass);
TCPropertyGroup Group_Sim("Sim", 1310, "SIM card and access point", false);
TCPropertyLink SimOfModem(Group_Sim, Modem);
TCPropertyGroup Group_Radio("Radio", 1320, "Radio", false);
TCPropertyLink RadioOfModem(Group_Radio, Modem);
}  // namespace

TCPropertyID Prop_ModemEnabled("ModemEnabled", 1311, "Use the modem", Group_Sim.get_Number(),
                               kBoolean, false);
TCPropertyID Prop_SimPin("SimPin", 1312, "PIN of the SIM card", Group_Sim.get_Number(),
                         kText | kHidden);
TCPropertyID Prop_AccessPointName("AccessPointName", 1313, "Access point", Group_Sim.get_Number(),
                                  kText, "internet");
TCPropertyID Prop_AccessPointUser("AccessPointUser", 1314, "User of the access point",
                                  Group_Sim.get_Number(), kText | kAdvanced);
TCPropertyID Prop_AccessPointPassword("AccessPointPassword", 1315, "Password of the access point",
                                      Group_Sim.get_Number(), kText | kHidden);
TCPropertyID Prop_Roaming("Roaming", 1316, "Allow foreign networks", Group_Sim.get_Number(),
                          kBoolean, false);

TCPropertyID Prop_RadioTechnology("RadioTechnology", 1321, "Radio technology",
                                  Group_Radio.get_Number(), kInteger);
TCPropertyDBLookup Prop_Operator("Operator", 1322, "Preferred operator", Group_Radio.get_Number(),
                                 kText | kAdvanced, kOperatorTable, "code", false);
TCPropertyID Prop_SignalWarning("SignalWarning", 1323, "Warn below this signal in percent",
                                Group_Radio.get_Number(), kInteger, 20);

namespace {
TCPropertyChoice RadioAny("Any", "Best available", 13211, true, &Prop_RadioTechnology, "any");
TCPropertyChoice Radio2G("2G", "2G only", 13212, false, &Prop_RadioTechnology, "2g");
TCPropertyChoice Radio4G("4G", "4G only", 13213, false, &Prop_RadioTechnology, "4g");

TCPropertyDependency PinOfModem(&Prop_ModemEnabled, &Prop_SimPin, kSameValue);
TCPropertyDependency AccessPointOfModem(&Prop_ModemEnabled, &Prop_AccessPointName, kSameValue);
TCPropertyDependency TechnologyOfModem(&Prop_ModemEnabled, &Prop_RadioTechnology, kSameValue);
}  // namespace

// ---- Alarm inputs ----

namespace {
TCPropertyContainer Input("Input", 1400, "Alarm input", kInputClass);
TCPropertyGroup Group_Input("InputSettings", 1410, "Alarm input", false);
TCPropertyLink SettingsOfInput(Group_Input, Input);
}  // namespace

TCPropertyID Prop_InputName("InputName", 1411, "Name", Group_Input.get_Number(), kText);
TCPropertyID Prop_InputEnabled("InputEnabled", 1412, "In use", Group_Input.get_Number(), kBoolean,
                               true);
TCPropertyID Prop_InputContact("InputContact", 1413, "Contact", Group_Input.get_Number(), kInteger);
TCPropertyID Prop_InputDelay("InputDelay", 1414, "Milliseconds until it counts",
                             Group_Input.get_Number(), kInteger | kAdvanced, 50);
TCPropertyID Prop_InputSeverity("InputSeverity", 1415, "Severity", Group_Input.get_Number(),
                                kInteger);

namespace {
TCPropertyChoice ContactOpen("NormallyOpen", "Normally open", 14131, true, &Prop_InputContact, 0);
TCPropertyChoice ContactClosed("NormallyClosed", "Normally closed", 14132, false,
                               &Prop_InputContact, 1);
TCPropertyChoice ContactBalanced("Balanced", "Balanced loop", 14133, false, &Prop_InputContact, 2);

TCPropertyChoice SeverityInfo("Info", "Information", 14151, false, &Prop_InputSeverity, "info");
TCPropertyChoice SeverityWarning("Warning", "Warning", 14152, true, &Prop_InputSeverity, "warning");
TCPropertyChoice SeverityCritical("Critical", "Critical", 14153, false, &Prop_InputSeverity,
                                  "critical");
}  // namespace

// ---- Relay outputs ----

namespace {
TCPropertyContainer Output("Output", 1500, "Relay output", kOutputClass);
TCPropertyGroup Group_Output("OutputSettings", 1510, "Relay output", false);
TCPropertyLink SettingsOfOutput(Group_Output, Output);
}  // namespace

TCPropertyID Prop_OutputName("OutputName", 1511, "Name", Group_Output.get_Number(), kText);
TCPropertyID Prop_OutputMode("OutputMode", 1512, "Behaviour", Group_Output.get_Number(), kInteger);
TCPropertyID Prop_OutputPulse("OutputPulse", 1513, "Milliseconds of a pulse",
                              Group_Output.get_Number(), kInteger, 500);
TCPropertyID Prop_OutputSource("OutputSource", 1514, "Input that switches it, 0 for none",
                               Group_Output.get_Number(), kInteger, 0);

namespace {
TCPropertyChoice OutputSteady("Steady", "Stays switched", 15121, true, &Prop_OutputMode, "steady");
TCPropertyChoice OutputPulse("Pulse", "Pulse", 15122, false, &Prop_OutputMode, "pulse");

TCPropertyDependency LengthOfPulse(&OutputPulse, &Prop_OutputPulse, kSameValue);
}  // namespace

// ---- Users ----

namespace {
TCPropertyContainer User("User", 1600, "User", kUserClass);
TCPropertyGroup Group_User("UserSettings", 1610, "User", false);
TCPropertyLink SettingsOfUser(Group_User, User);
}  // namespace

TCPropertyID Prop_UserName("UserName", 1611, "Name", Group_User.get_Number(), kText);
TCPropertyID Prop_UserEnabled("UserEnabled", 1612, "May log in", Group_User.get_Number(), kBoolean,
                              true);
TCPropertyID Prop_UserRole("UserRole", 1613, "Role", Group_User.get_Number(), kInteger);
TCPropertyID Prop_UserPhone("UserPhone", 1614, "Telephone", Group_User.get_Number(), kText);
TCPropertyDBLookup Prop_UserLanguage("UserLanguage", 1615, "Language", Group_User.get_Number(),
                                     kText, kLanguageTable, "code", true);
TCPropertyID Prop_UserPin("UserPin", 1616, "Code", Group_User.get_Number(), kText | kHidden);

namespace {
TCPropertyChoice RoleViewer("Viewer", "Viewer", 16131, true, &Prop_UserRole, "viewer");
TCPropertyChoice RoleOperator("Operator", "Operator", 16132, false, &Prop_UserRole, "operator");
TCPropertyChoice RoleAdministrator("Administrator", "Administrator", 16133, false, &Prop_UserRole,
                                   "administrator");

TCValidRegexPropertySettings PatternOfUserPhone(&Prop_UserPhone, kPhonePattern);
}  // namespace

// ---- References for programs ----

TCPropertyChoiceID Choice_AddressAutomatic("Gateway", 12221, "AddressMode automatic");
TCPropertyChoiceID Choice_AddressStatic("Gateway", 12222, "AddressMode static");
TCPropertyChoiceID Choice_LogNotice("Gateway", 12413, "LogLevel notice");
TCPropertyChoiceID Choice_LogDebug("Gateway", 12415, "LogLevel debug");
TCPropertyChoiceID Choice_MailPlain("Gateway", 10231, "MailSecurity plain");
TCPropertyChoiceID Choice_MailStartTLS("Gateway", 10232, "MailSecurity starttls");
TCPropertyChoiceID Choice_MailTLS("Gateway", 10233, "MailSecurity tls");
TCPropertyChoiceID Choice_RoleOperator("Gateway", 16132, "UserRole operator");
TCPropertyChoiceID Choice_RoleAdministrator("Gateway", 16133, "UserRole administrator");

// ---- This product's variant ----
// What differs from the range's common schema is said here, beside it and not in it.

namespace {

// The modem of this variant has no 2G radio, and is there to be used.
class TCModemOverride : public TCPropertyInitOverride {
 public:
  TCModemOverride() : TCPropertyInitOverride(&Prop_ModemEnabled) {}
  void DoInitialize() override { SetDefaultValue(true); }
};

class TCRadioOverride : public TCPropertyInitOverride {
 public:
  TCRadioOverride() : TCPropertyInitOverride(&Prop_RadioTechnology) {}
  void DoInitialize() override { SetDefaultChoice(&Radio4G); }
};

TCModemOverride ModemOverride;
TCRadioOverride RadioOverride;
TCPropertyShowControl HideRadio2G(&Radio2G, false);
// It has no display.
TCPropertyShowControl HideDisplayBrightness(&Prop_DisplayBrightness, false);

// Asking a public time server more often than once a minute gets a device banned.
void LimitTimeInterval(TCCommonPropertyObject& Value) {
  int const Seconds = Value.get_AsInteger();
  int const Limited = std::clamp(Seconds, 60, 86400);
  if (Limited != Seconds) {
    Value = Limited;
  }
}

}  // namespace

void InstallValidators() {
  SetPropertyValidation(Prop_TimeInterval, LimitTimeInterval);
}

}  // namespace Gateway

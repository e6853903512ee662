// SPDX-License-Identifier: MIT
// The properties of a gateway device, shared by all of its programs.
#pragma once

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"

/// The schema of the gateway: fields (Prop_), the groups that programs watch (Group_) and, for the
/// choices that programs name, references (Choice_).
///
/// Numbers identify properties in every process and in the database. One that has been shipped is
/// never given to another property.
namespace Gateway {

// Installation: one for all devices. Values carry no MAC and no link.
extern Property::TCPropertyID Prop_SiteName;
extern Property::TCPropertyID Prop_SiteAddress;
extern Property::TCPropertyID Prop_ContactName;
extern Property::TCPropertyID Prop_ContactPhone;
extern Property::TCPropertyID Prop_ServiceCode;
extern Property::TCPropertyID Prop_MailEnabled;
extern Property::TCPropertyID Prop_MailServer;
extern Property::TCPropertyID Prop_MailSecurity;
extern Property::TCPropertyID Prop_MailPort;
extern Property::TCPropertyID Prop_MailSender;
extern Property::TCPropertyID Prop_MailRecipient;

// Access policy: one for all devices.
extern Property::TCPropertyID Prop_PinLength;
extern Property::TCPropertyID Prop_AttemptsUntilLock;
extern Property::TCPropertyID Prop_LockMinutes;
extern Property::TCPropertyID Prop_SessionMinutes;

// Device: one value a device.
extern Property::TCPropertyID Prop_DeviceName;
extern Property::TCPropertyID Prop_Location;
extern Property::TCPropertyID Prop_SerialNumber;
extern Property::TCPropertyID Prop_DisplayBrightness;
extern Property::TCPropertyGroup Group_Network;
extern Property::TCPropertyID Prop_HostName;
extern Property::TCPropertyID Prop_AddressMode;
extern Property::TCPropertyID Prop_IPAddress;
extern Property::TCPropertyID Prop_NetMask;
extern Property::TCPropertyID Prop_DefaultGateway;
extern Property::TCPropertyID Prop_NameServer;
extern Property::TCPropertyID Prop_PacketSize;
extern Property::TCPropertyID Prop_VirtualNetwork;
extern Property::TCPropertyDBLookup Prop_TimeZone;
extern Property::TCPropertyID Prop_TimeServerEnabled;
extern Property::TCPropertyID Prop_TimeServer;
extern Property::TCPropertyID Prop_TimeInterval;
extern Property::TCPropertyID Prop_LogLevel;
extern Property::TCPropertyID Prop_LogDays;
extern Property::TCPropertyID Prop_LogRemote;
extern Property::TCPropertyID Prop_LogServer;
extern Property::TCPropertyID Prop_LogPort;
extern Property::TCPropertyID Prop_UpdateAutomatic;
extern Property::TCPropertyID Prop_UpdateChannel;
extern Property::TCPropertyID Prop_UpdateHour;

// Mobile modems: one value a device and modem; the link is the slot's number.
extern Property::TCPropertyID Prop_ModemEnabled;
extern Property::TCPropertyID Prop_SimPin;
extern Property::TCPropertyID Prop_AccessPointName;
extern Property::TCPropertyID Prop_AccessPointUser;
extern Property::TCPropertyID Prop_AccessPointPassword;
extern Property::TCPropertyID Prop_Roaming;
extern Property::TCPropertyID Prop_RadioTechnology;
extern Property::TCPropertyDBLookup Prop_Operator;
extern Property::TCPropertyID Prop_SignalWarning;

// Alarm inputs: one value a device and input; the link is the input's number.
extern Property::TCPropertyID Prop_InputName;
extern Property::TCPropertyID Prop_InputEnabled;
extern Property::TCPropertyID Prop_InputContact;
extern Property::TCPropertyID Prop_InputDelay;
extern Property::TCPropertyID Prop_InputSeverity;

// Relay outputs: one value a device and output; the link is the output's number.
extern Property::TCPropertyID Prop_OutputName;
extern Property::TCPropertyID Prop_OutputMode;
extern Property::TCPropertyID Prop_OutputPulse;
extern Property::TCPropertyID Prop_OutputSource;

// Users: one value a user, on all devices; the link is the user's number.
extern Property::TCPropertyID Prop_UserName;
extern Property::TCPropertyID Prop_UserEnabled;
extern Property::TCPropertyID Prop_UserRole;
extern Property::TCPropertyID Prop_UserPhone;
extern Property::TCPropertyDBLookup Prop_UserLanguage;
extern Property::TCPropertyID Prop_UserPin;

extern Property::TCPropertyChoiceID Choice_AddressAutomatic;
extern Property::TCPropertyChoiceID Choice_AddressStatic;
extern Property::TCPropertyChoiceID Choice_LogNotice;
extern Property::TCPropertyChoiceID Choice_LogDebug;
extern Property::TCPropertyChoiceID Choice_MailPlain;
extern Property::TCPropertyChoiceID Choice_MailStartTLS;
extern Property::TCPropertyChoiceID Choice_MailTLS;
extern Property::TCPropertyChoiceID Choice_RoleOperator;
extern Property::TCPropertyChoiceID Choice_RoleAdministrator;

/// Lets the store correct values that the device can not work with. Each program calls it once,
/// after it has created the store: readers in every process then see the same corrected value.
void InstallValidators();

}  // namespace Gateway

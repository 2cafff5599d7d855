// The names that host and device share: the type, properties, control codes, and the keys of the documents that cross
// the boundary, which docs/host-guide.md shows whole. Constants; any thread.
#pragma once

namespace orvix::names {

// The device type: what the plug-in registers, and the "id" of every document that names it.
inline constexpr char kType[] = "GSMModem";

// Creation document.
inline constexpr char kConfigurationFile[] = "cfgfile";

// Configuration document, by key and, where they are nested, by path.
inline constexpr char kId[] = "id";
inline constexpr char kName[] = "name";
inline constexpr char kConfigurationName[] = "GSMMODEMConfiguration";  // the value: the type in capitals and a word
inline constexpr char kConfig[] = "config";
inline constexpr char kMode[] = "mode";
inline constexpr char kModePath[] = "config.mode";
inline constexpr char kSerialMode[] = "com";
inline constexpr char kNetworkMode[] = "ip";
inline constexpr char kComstr[] = "comstr";
inline constexpr char kComstrPath[] = "config.comstr";
inline constexpr char kIp[] = "ip";
inline constexpr char kIpPath[] = "config.ip";
inline constexpr char kAddress[] = "address";
inline constexpr char kAddressPath[] = "config.ip.address";
inline constexpr char kPort[] = "port";
inline constexpr char kPortPath[] = "config.ip.port";
// In mode "ip" the device opens the path "/dev/tcp/ADDRESS/PORT".
inline constexpr char kNetworkFolder[] = "/dev/tcp/";

// Properties.
inline constexpr char kVersion[] = "version";
inline constexpr char kMessage[] = "Msg";
inline constexpr char kConfigurationTypes[] = "config.types";
inline constexpr char kCurrentConfiguration[] = "config.current";

// Control codes, the message that "sendSMS" takes, the answer and its event.
inline constexpr char kSendSms[] = "sendSMS";
inline constexpr char kTerminateDevice[] = "TerminateDevice";
inline constexpr char kPhone[] = "phone";
inline constexpr char kText[] = "text";
inline constexpr char kTransmissionResult[] = "TransmissionResult";
inline constexpr char kSmsEvent[] = "SMS";

// Data report, by path.
inline constexpr char kReportTime[] = "GSMModem.report.time";
inline constexpr char kSignalPercent[] = "GSMModem.report.signalQuality.percent";
inline constexpr char kSignalDbm[] = "GSMModem.report.signalQuality.dBm";
inline constexpr char kSignalValid[] = "GSMModem.report.signalQuality.valid";
inline constexpr char kRegistrationStatus[] = "GSMModem.report.NetworkRegistration.status";
inline constexpr char kRegistrationValid[] = "GSMModem.report.NetworkRegistration.valid";
// The values of kRegistrationStatus, by the stat parameter of +CREG (3GPP TS 27.007, 7.2).
inline constexpr const char* kRegistrationWords[] = {"none", "home", "searching", "denied", "unknown", "roaming"};

}  // namespace orvix::names

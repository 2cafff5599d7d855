// Prometheus Alertmanager's webhook (payload version 4): a group of alerts becomes one text message. One thread, the
// service's.
#pragma once

#include <string>
#include <variant>

#include "gateway/service/service.h"

namespace orvix::gateway {

// What a notification says and by what it is recognised.
struct AlertNotice {
  std::string text;      // "FIRING: DiskFull: / on plant7 is full (+2 more)", fit for that charset
  std::string identity;  // of groupKey, status and alerts: the same in a retry, another in a reminder of other alerts
};

// Pure; the payload's UTF-8 is transliterated and cut to one message. 400 no JSON, 422 no notification. Fields that are
// not needed may be missing or unknown.
// `text` is one message of at most 160 septets, its words cut from the end and marked by "...", its "(+N more)" always
// whole. The alert that gives the words is the first one of the group's own status.
std::variant<AlertNotice, Refusal> readAlerts(const std::string& body, hostkit::Charset charset);

// One message of priority alarm. The same notification to the same number within 15 minutes is a retry and gets the
// message that is there. A blank before the number stands for its "+", which an address cannot carry as it is. A budget
// is a 503: Alertmanager repeats what failed with 5xx alone.
// The caller's rights count as for any other message. Nothing is stored about groups: the message's id, made of a hash
// of caller, number and identity, is the memory, and lasts over a restart.
std::variant<Accepted, Refusal> acceptAlerts(Service& service, const Caller& caller, std::string to,
                                             const std::string& body);

}  // namespace orvix::gateway

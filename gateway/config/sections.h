// The parts of the configuration, one function an object, and what they share. Internal to this room. One thread.
//
// A function that reads takes its object by value when it is the only one to read it, and then refuses other keys; by
// pointer when it reads some keys of it. Every problem goes to the list that the object carries, and the value is to be
// used only when that list stayed empty.
#pragma once

#include <string>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/config/strictJson.h"

namespace orvix::gateway {

inline constexpr int kDaySeconds = 86400;
inline constexpr int kMostOfAny = 10000000;  // where "no limit" is 0, and not a huge number
inline constexpr char kNameRule[] = "must be 1 to 64 of A-Z a-z 0-9 . _ -";

std::vector<ModemConfig> readModems(StrictObject* root);
HttpConfig readHttp(StrictObject object);
MqttConfig readMqtt(StrictObject object);

// Whether the text holds no other character than these; "" does.
bool consistsOf(const std::string& text, const std::string& characters);
// A required key whose value must be such a name.
std::string readName(StrictObject* object, const std::string& key);
// A problem unless the file is there to be read; "" is no file.
void refuseUnreadable(StrictObject* object, const std::string& key, const std::string& file);

}  // namespace orvix::gateway

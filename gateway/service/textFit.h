// A text as it can go out: transliterated and cut into parts where the configuration wants that. Pure functions; any
// thread.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/service/submission.h"

namespace orvix::gateway {

// The texts of the messages that carry `text` (UTF-8): one, or up to 9 that begin with "(1/3) ". Each is fit for at
// least one of the character sets; or a 422 that says why there are none.
// Parts hold at most 154 septets (3GPP TS 23.038) after their number, and are cut at their last blank or line feed,
// which is left out; a word that is longer is cut as it stands. `charsets` are tried in their order.
std::variant<std::vector<std::string>, Refusal> textsFor(const std::string& text,
                                                         const std::vector<hostkit::Charset>& charsets,
                                                         const SendingConfig& sending);

// What makes the text unfit for all of the character sets; "" when one carries it.
std::string whyUnfit(const std::string& text, const std::vector<hostkit::Charset>& charsets);

}  // namespace orvix::gateway

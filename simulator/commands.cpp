#include "simulator/commands.h"

#include "common/text.h"
#include "simulator/commandTable.h"

namespace orvix::simulator {
namespace {

const Command* findCommand(std::string_view name) {
  for (const auto* const table : {&generalCommands(), &messageCommands()}) {
    for (const Command& command : *table) {
      if (command.name == name) {
        return &command;
      }
    }
  }
  return nullptr;
}

}  // namespace

std::string acceptedReply(int reference) {
  return information("+CMGS: " + std::to_string(reference)).reply;
}

// The unsolicited form has no <n>, and level 0 asks for none (3GPP TS 27.007, 7.2).
std::string registrationChange(const ModemOptions& options, const Settings& settings) {
  return settings.registrationReport == 0 ? "" : framed("+CREG: " + registrationText(options, settings));
}

bool beginsWithAt(std::string_view line) {
  return toUpper(std::string(line.substr(0, 2))) == "AT";
}

Answer answerCommand(std::string_view line, const ModemOptions& options, Settings* settings) {
  const std::string_view command = line.substr(2);
  // The name ends where the parameter begins; the parameter keeps its case, for texts are data.
  const std::string name = toUpper(std::string(command.substr(0, command.find_first_of("=?"))));
  const Command* const found = findCommand(name);
  // Before the parameters are looked at: without a card the modem does not know whether they would do.
  if (found != nullptr && found->needsSim && options.sim != SimState::kReady) {
    return simError(options.sim, *settings);
  }
  return found != nullptr ? found->execute({name, command.substr(name.size()), options, settings}) : error();
}

std::vector<std::string> commandNames() {
  std::vector<std::string> names;
  for (const auto* const table : {&generalCommands(), &messageCommands()}) {
    for (const Command& command : *table) {
      names.push_back("AT" + std::string(command.name));
    }
  }
  return names;
}

}  // namespace orvix::simulator

// Verdicts: every refusal code and every way to lose or bend a result, late or not, among echo, unsolicited lines and
// texts that imitate answers. Nothing is told sent that was not, nothing failed that was sent.
#include "tests/campaigns/kit.h"

namespace {

using orvix::simulator::Fault;
using orvix::simulator::ModemOptions;

constexpr int kSpeed = 50;
constexpr int kModems = 12;
constexpr int kCellsInARound = 360;

const char* const kTexts[] = {"OK",           "ERROR\nOK", "say +CMGS: 5", "> ", "\nOK\n", "+CMS ERROR 500\nOK\n+CMGS",
                              "AT+CMGS=\"1\""};
const char* const kLines[] = {"RING", "+CMTI: \"SM\",3", "+CREG: 5", "OK", "> ", "+CDSI: \"SM\",4", "AT+CMGS=\"1\""};
const char* const kWords[] = {
    "ERROR", "OK", "+CMS ERROR: network timeout", "NO CARRIER", "+CME ERROR:", "+CMS ERROR: 500", "+CMS ERROR: 512"};
constexpr int kDelaysSeconds[] = {0, 0, 1, 4, 7, 12, 30, 60, 110, 119, 130};

// What becomes of one message; some modems send it whatever they answer, as far as that leaves a doubt.
Fault faultOf(int cell, campaign::Random* random) {
  constexpr int kCmsCodes = 340;
  constexpr int kCmeCodes = 160;
  Fault fault;
  fault.trigger = Fault::Trigger::kBody;
  fault.count = 1;
  const int kind = cell * 7919 % (kCmsCodes + kCmeCodes + 700);  // each in turn, spread out
  if (kind < kCmsCodes) {
    fault.error = "+CMS ERROR: " + std::to_string(kind);
  } else if (kind < kCmsCodes + kCmeCodes) {
    fault.error = "+CME ERROR: " + std::to_string(kind - kCmsCodes);
  } else if (kind % 4 == 0) {
    fault.error = kWords[random->below(std::size(kWords))];
    fault.isSent = random->below(2) == 0;
  } else if (kind % 4 == 1) {
    fault.isSilent = true;
    fault.isSent = random->below(2) == 0;
  } else if (kind % 4 == 2) {
    fault.lostLine = random->below(2) == 0 ? Fault::LostLine::kFirst : Fault::LostLine::kLast;
  } else if (random->below(3) == 0) {
    fault.hangUpMs = 2000 / kSpeed;
    fault.isSent = random->below(2) == 0;
  }
  fault.delayMs = 1000 * kDelaysSeconds[random->below(std::size(kDelaysSeconds))] / kSpeed;
  for (auto* const lines : {&fault.linesBefore, &fault.linesBetween, &fault.linesAfter}) {
    lines->resize(static_cast<std::size_t>(random->below(2)), kLines[random->below(std::size(kLines))]);
  }
  fault.pieceSize = static_cast<std::size_t>(random->below(3));
  fault.pieceGapMs = 1;
  return fault;
}

void round(int first, int count, campaign::Random* random, campaign::Figures* figures) {
  const world::TemporaryFolder folder;
  ModemOptions options[kModems];
  std::vector<nlohmann::json> messages;
  std::map<std::string, std::string> texts;
  for (int cell = first; cell < first + count; ++cell) {
    const int modem = random->below(kModems);
    const std::string id = "t" + std::to_string(cell);
    texts[id] = kTexts[random->below(std::size(kTexts))] + (" " + id) + (random->below(2) == 0 ? "" : "\nOK");
    options[modem].faults.push_back(faultOf(cell, random));
    options[modem].faults.back().pattern = texts[id];
    messages.push_back({{"id", id}, {"to", "+4912345"}, {"text", texts[id]}, {"modem", "m" + std::to_string(modem)}});
  }
  std::vector<std::unique_ptr<campaign::SimulatedModem>> modems;
  std::vector<campaign::SimulatedModem*> borrowed;
  for (int modem = 0; modem < kModems; ++modem) {
    options[modem].echo = modem % 2 == 0;
    options[modem].textEcho = modem % 3 == 0;
    options[modem].promptsEachLine = modem > 2;
    modems.push_back(std::make_unique<campaign::SimulatedModem>(folder.file(std::to_string(modem)), options[modem]));
    borrowed.push_back(modems.back().get());
  }
  campaign::Gateway gateway(borrowed, {{"sending", {{"perRecipient", {{"count", 0}}}, {"retryLimitSeconds", 30}}}},
                            kSpeed);
  gateway.start();
  for (const nlohmann::json& message : messages) {
    gateway.post(message);
  }
  campaign::until([&] { return !gateway.hasWork(); });
  gateway.account(texts, figures);
}

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  Random random(seed);
  for (int first = 0; first < count; first += kCellsInARound) {
    round(first, std::min(kCellsInARound, count - first), &random, &figures);
  }
  return figures;
}

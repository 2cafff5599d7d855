// Verdicts: every refusal code, before the text and behind it, and every way to lose or bend a result, late or not,
// among echo, unsolicited lines and texts that imitate answers. Nothing is told sent that was not, nothing failed that
// was sent.
#include "hostkit/errorClass.h"
#include "tests/campaigns/kit.h"

namespace {

using campaign::Random;
using nlohmann::json;
using orvix::hostkit::ErrorKind;
using orvix::simulator::Fault;

constexpr int kSpeed = 50;
constexpr int kModems = 12;
constexpr int kCellsInARound = 360;
constexpr int kCmsCodes = 340;
constexpr int kCodes = kCmsCodes + 160;  // the others of +CME ERROR

const char* const kTexts[] = {"OK",           "ERROR\nOK", "say +CMGS: 5", "> ", "\nOK\n", "+CMS ERROR 500\nOK\n+CMGS",
                              "AT+CMGS=\"1\""};
const char* const kLines[] = {"RING", "+CMTI: \"SM\",3", "+CREG: 5", "OK", "> ", "+CDSI: \"SM\",4", "AT+CMGS=\"1\""};
const char* const kWords[] = {
    "ERROR", "OK", "+CMS ERROR: network timeout", "NO CARRIER", "+CME ERROR:", "+CMS ERROR: 500", "+CMS ERROR: 512"};
const char* const kClasses[] = {"message", "network", "modem", "chance", "doubt"};
constexpr int kDelaysSeconds[] = {0, 0, 1, 4, 7, 12, 30, 60, 110, 119, 130};

template <class Value, std::size_t kSize>
const Value& oneOf(const Value (&values)[kSize], Random* random) {
  return values[random->below(kSize)];
}

// What becomes of a result; without a clear one some modems have sent the message nevertheless.
const std::pair<const char*, void (*)(Fault*, Random*)> kBends[] = {
    {"a whole result", [](Fault*, Random*) {}},
    {"half a result",
     [](Fault* f, Random* r) { f->lostLine = r->below(2) == 0 ? Fault::LostLine::kFirst : Fault::LostLine::kLast; }},
    {"words instead", [](Fault* f, Random* r) { f->error = oneOf(kWords, r), f->isSent = r->below(2) == 0; }},
    {"silence", [](Fault* f, Random* r) { f->isSilent = true, f->isSent = r->below(2) == 0; }},
    {"the line gone", [](Fault* f, Random* r) { f->hangUpMs = 2000 / kSpeed, f->isSent = r->below(2) == 0; }},
};

struct Cell {
  json message;
  int modem = 0;
  Fault fault;
  std::vector<std::string> rows{"all"};  // of the table, to which it belongs
};

void refuse(int place, Cell* cell) {
  const bool isBeforeText = place >= kCodes;
  const bool isCms = place % kCodes < kCmsCodes;
  const int code = place % kCodes - (isCms ? 0 : kCmsCodes);
  cell->fault.error = (isCms ? "+CMS ERROR: " : "+CME ERROR: ") + std::to_string(code);
  const auto errorClass = classOf(isCms ? ErrorKind::kCms : ErrorKind::kCme, code, isBeforeText);
  // A doubt is one: half of them are sent nevertheless.
  cell->fault.isSent = !isBeforeText && errorClass == orvix::hostkit::ErrorClass::kDoubt && code % 2 == 0;
  cell->rows.push_back(std::string(isBeforeText ? "before" : "behind") + " Ctrl-Z a code of class " +
                       kClasses[static_cast<int>(errorClass)]);
  if (isBeforeText) {
    cell->fault.trigger = Fault::Trigger::kCommand;
    cell->fault.pattern = "AT+CMGS=\"" + cell->message.value("to", "") + '"';
  }
}

// Each code in turn, spread out, and as many results that are bent or whole.
Cell cellOf(int number, Random* random) {
  Cell cell;
  Fault& fault = cell.fault;
  const std::string id = "t" + std::to_string(number);
  cell.modem = random->below(kModems);
  fault.trigger = Fault::Trigger::kBody;
  fault.pattern = oneOf(kTexts, random) + (" " + id) + (random->below(2) == 0 ? "" : "\nOK");
  fault.count = 1;
  cell.message = {{"id", id},
                  {"to", "+49" + std::to_string(10000 + number)},
                  {"text", fault.pattern},
                  {"modem", "m" + std::to_string(cell.modem)}};
  const int kind = number * 7919 % (4 * kCodes);
  if (kind < 2 * kCodes) {
    refuse(kind, &cell);
  } else {
    const auto& [row, bend] = kBends[static_cast<std::size_t>(kind) % std::size(kBends)];
    bend(&fault, random);
    cell.rows.emplace_back(row);
  }
  if (fault.trigger == Fault::Trigger::kBody) {
    const int seconds = oneOf(kDelaysSeconds, random);
    fault.delayMs = 1000 * seconds / kSpeed;
    cell.rows.emplace_back(fault.isSilent || fault.hangUpMs ? "never"
                           : seconds < 10                   ? "late by 0 to 10 s"
                           : seconds < 120                  ? "late by 10 to 120 s"
                                                            : "late by 130 s");
  }
  for (auto* const lines : {&fault.linesBefore, &fault.linesBetween, &fault.linesAfter}) {
    lines->resize(static_cast<std::size_t>(random->below(2)), oneOf(kLines, random));
  }
  cell.rows.emplace_back(fault.linesBefore.empty() && fault.linesBetween.empty() && fault.linesAfter.empty()
                             ? "no unsolicited lines"
                             : "unsolicited lines");
  cell.rows.emplace_back(cell.modem % 2 == 0 || cell.modem % 3 == 0 ? "echo" : "no echo");
  fault.pieceSize = static_cast<std::size_t>(random->below(3));
  fault.pieceGapMs = 1;
  return cell;
}

void round(const std::vector<Cell>& cells, campaign::Figures* figures) {
  const world::TemporaryFolder folder;
  std::vector<std::unique_ptr<campaign::SimulatedModem>> modems;
  std::vector<campaign::SimulatedModem*> borrowed;
  for (int modem = 0; modem < kModems; ++modem) {
    orvix::simulator::ModemOptions options;
    options.echo = modem % 2 == 0;
    options.textEcho = modem % 3 == 0;
    options.promptsEachLine = modem > 2;
    for (const Cell& cell : cells) {
      options.faults.insert(options.faults.end(), cell.modem == modem ? 1 : 0, cell.fault);
    }
    modems.push_back(std::make_unique<campaign::SimulatedModem>(folder.file(std::to_string(modem)), options));
    borrowed.push_back(modems.back().get());
  }
  campaign::Gateway gateway(borrowed, {{"sending", {{"retryLimitSeconds", 30}}}}, kSpeed);
  gateway.start();
  std::map<std::string, std::string> texts;
  for (const Cell& cell : cells) {
    texts[cell.message["id"]] = cell.message["text"];
    gateway.post(cell.message);
  }
  campaign::until([&] { return !gateway.hasWork(); });
  const auto told = gateway.account(texts, figures);
  for (const Cell& cell : cells) {
    const json& message = told.at(cell.message["id"]);
    const bool isAgain = message.value("attempts", json::array()).size() > 1;
    for (const std::string& row : cell.rows) {
      ++figures->counts[row + ": " + (isAgain ? "queued again" : message["state"].get<std::string>())];
    }
  }
}

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  Random random(seed);
  for (int first = 0; first < count; first += kCellsInARound) {
    std::vector<Cell> cells;
    for (int cell = first; cell < std::min(first + kCellsInARound, count); ++cell) {
      cells.push_back(cellOf(cell, &random));
    }
    round(cells, &figures);
  }
  return figures;
}

#include "host/commandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <limits>
#include <map>

#include "host/commands.h"
#include "host/exitCode.h"
#include "host/output.h"
#include "program/complaint.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

constexpr char kFooter[] =
    "Exit codes: 0 done, 2 usage, 3 configuration refused, 4 line not opened, 5 modem silent or refusing,\n"
    "6 uncertain: the message may have been sent, 1 anything else, 128 and the signal when a signal ended it.\n"
    "First try, without hardware: gsm-host --simulate report";

// A range whose message shows its ends as a person writes them.
template <typename Number>
CLI::Validator between(Number least, Number most) {
  return CLI::Validator(
      [least, most](const std::string& text) {
        Number value{};
        const bool isNumber = CLI::detail::lexical_cast(text, value) && value >= least && value <= most;  // NaN is none
        std::ostringstream message;
        message << "\"" << text << "\" is not from " << least << " to " << most;
        return isNumber ? std::string() : message.str();
      },
      "");
}

void addLineOptions(CLI::App* app, LineOptions* options) {
  auto* const line = app->add_option_group("Which modem");
  line->add_option("--device", options->device, "Modem on a serial line: PATH[:baud,parity,databits,stopbits]")
      ->type_name("LINE");
  line->add_option("--config", options->configFile, "Modem that a device configuration file names")->type_name("FILE");
  line->add_option("--tcp", options->tcp, "Modem behind TCP: ADDRESS:PORT[:settings], see gsm-tcp-line(8)")
      ->type_name("ADDRESS:PORT");
  line->add_flag("--simulate", options->simulate, "A simulated modem in this process");
  // None is told by the command, since some need no modem.
  line->require_option(0, 1);
}

void addCommonOptions(CLI::App* app, CommonOptions* options) {
  app->add_option("--plugin", options->plugin, "Plug-in module [libgsmmodem.so beside this program or installed]")
      ->type_name("FILE");
  app->add_flag("--trace", options->trace, "Show the line's traffic on standard error");
  app->add_flag("--hex", options->hex, "Show the line's traffic in hexadecimal, too");
  app->add_option("--record", options->record, "Record the line's traffic in a new file")->type_name("FILE");
  app->add_flag("--force", options->force, "Replace a recording; send a number or a text that looks wrong");
  app->add_option("-v", options->verbosity, "Log to standard error up to this verbosity, 0 to 5")
      ->type_name("LEVEL")
      ->check(between(0, 5));
  app->add_flag("--json", options->json, "Print JSON for scripts, one document a line");
  app->add_flag_callback("--no-color", program::switchColorOff, "Print no colours, as with NO_COLOR set");
}

class Commands {
 public:
  Commands(CLI::App* parent, Invocation* result) : app(parent), invocation(result), options(&result->options) {}

  // fallthrough: common options may stand after the command too.
  CLI::App* add(const char* name, const char* description, std::function<void(const Options&)> command) {
    CLI::App* const added = app->add_subcommand(name, description)->fallthrough();
    Invocation* const result = invocation;
    // Only noted: it runs when the whole line has been understood.
    added->final_callback([result, command = std::move(command)] { result->command = command; });
    return added;
  }

  void addModemCommands() {
    add("report", "Show signal and registration", [](const Options& o) { showReport(o.common); });
    addSms();
    addMonitor();
    add("doctor", "Find out why a modem stays silent", [](const Options& o) {
      examineModem(o.common, o.doctor);
    })->add_flag("--no-heal", options->doctor.noHeal, "Send no Escape to a modem that waits for a text");
  }

  void addBoundaryCommands() {
    add("check", "Tell whether a configuration can work",
        [](const Options& o) { checkConfiguration(o.common, o.checkFile); })
        ->add_option("file", options->checkFile, "Configuration to check")
        ->required();
    auto* const get = add("get", "Read a property", [](const Options& o) { getProperty(o.common, o.property); });
    get->add_option("property", options->property.name, "version, Msg, config.types or config.current")->required();
    auto* const set = add("set", "Write a property", [](const Options& o) { setProperty(o.common, o.property); });
    set->add_option("property", options->property.name, "Msg or config.current")->required();
    set->add_option("file", options->property.file, "JSON document, - for standard input")->required();
    auto* const control =
        add("control", "Send a control code", [](const Options& o) { sendControlCode(o.common, o.control); });
    control->add_option("code", options->control.code, "sendSMS or TerminateDevice")->required();
    control->add_option("json", options->control.input, "Input document as JSON text");
  }

 private:
  void addSms() {
    auto* const sms = add("sms", "Send a text message", [](const Options& o) { sendMessage(o.common, o.sms); });
    sms->add_option("phone", options->sms.phone, "Number to send to")->required();
    sms->add_option("text", options->sms.text, "Text to send, - for standard input")->required();
    static const std::map<std::string, hostkit::Charset> kCharsets = {{"IRA", hostkit::Charset::kIra},
                                                                      {"GSM", hostkit::Charset::kGsm}};
    sms->add_option("--charset", options->sms.charset, "Character set of the modem, IRA or GSM [IRA]")
        ->type_name("NAME")
        ->transform(CLI::CheckedTransformer(kCharsets, CLI::ignore_case).description(""));
    sms->add_flag("--ok-is-sent", options->sms.okIsSent, "The modem answers OK alone when it has sent");
    sms->add_option("--late", options->sms.lateSeconds, "Seconds to listen for a result that comes late [120]")
        ->type_name("S")
        ->check(between(0, 3600));
  }

  void addMonitor() {
    auto* const monitor = add("monitor", "Show reports and events as they come",
                              [](const Options& o) { monitorModem(o.common, o.monitor); });
    Invocation* const result = invocation;
    // A Ctrl-C is how a person ends it: no reason for 128 and the signal as exit code.
    monitor->parse_complete_callback([result] { result->endsBySignal = true; });
    monitor->add_option("--interval", options->monitor.intervalSeconds, "Seconds from report to report [10]")
        ->type_name("S")
        ->check(between(0.0, 86400.0));
    monitor->add_option("--count", options->monitor.count, "End after so many reports [until Ctrl-C]")
        ->type_name("N")
        ->check(between(1, std::numeric_limits<int>::max()));
    monitor->add_flag("--changes", options->monitor.changesOnly, "Show a report only when it differs from the last");
  }

  CLI::App* app;
  Invocation* invocation;
  Options* options;
};

// What CLI11 says of a misspelt command is that a command is missing.
std::string complaintOf(const CLI::App& app, const CLI::ParseError& error) {
  if (!app.get_subcommands().empty() || dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr) {
    return error.what();
  }
  const std::vector<std::string> extras = app.remaining(false);
  return extras.empty() ? error.what() : "\"" + extras.front() + "\" is no command";
}

// A command line that is not understood has not been read to its end.
bool isJsonWanted(int argc, char** argv) {
  return std::any_of(argv, argv + argc, [](const char* argument) { return std::string(argument) == "--json"; });
}

Invocation refused(const std::string& complaint, bool asJson) {
  const std::string text = complaint + "; see gsm-host --help";
  program::complain("gsm-host", text);
  if (asJson) {
    printJson({{"error", text}, {"exitCode", kUsage}});
  }
  Invocation result;
  result.exitCode = kUsage;
  return result;
}

}  // namespace

Invocation readCommandLine(int argc, char** argv) {
  Invocation invocation;
  CLI::App app("Drives one GSM modem through the GSMModem device plug-in.", "gsm-host");
  app.footer(kFooter);
  app.set_version_flag("--version", "gsm-host " ORVIX_VERSION);
  // With 1 CLI11 would complain before it has looked at a misspelt word.
  app.require_subcommand(0, 1);
  addLineOptions(&app, &invocation.options.common.line);
  addCommonOptions(&app, &invocation.options.common);
  Commands commands(&app, &invocation);
  commands.addModemCommands();
  commands.addBoundaryCommands();
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    Invocation said;
    said.exitCode = app.exit(request);
    return said;
  } catch (const CLI::ParseError& error) {
    return refused(complaintOf(app, error), isJsonWanted(argc, argv));
  }
  return invocation.command ? invocation : refused("which command", isJsonWanted(argc, argv));
}

}  // namespace orvix::host

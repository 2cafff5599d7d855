#include "host/commandLine.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "host/commands.h"
#include "host/exitCode.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

constexpr char kFooter[] =
    "Exit codes: 0 done, 2 usage, 3 configuration refused, 4 line not opened, 5 modem silent or refusing,\n"
    "1 anything else. First try, without hardware: gsm-host --simulate report";

void addLineOptions(CLI::App* app, Options* options) {
  auto* const line = app->add_option_group("Which modem");
  line->add_option("--device", options->device, "On a serial line, PATH[:baud,parity,databits,stopbits]")
      ->type_name("LINE");
  line->add_option("--config", options->configFile, "Of a device configuration")->type_name("FILE");
  line->add_option("--tcp", options->tcp, "Behind TCP: ADDRESS:PORT[:settings], see scripts/tcp-line")
      ->type_name("ADDRESS:PORT");
  line->add_flag("--simulate", options->simulate, "A simulated one in this process");
  line->require_option(0, 1);
}

void addCommonOptions(CLI::App* app, Options* options) {
  app->add_option("--plugin", options->plugin, "Plug-in module [libgsmmodem.so beside this program or installed]")
      ->type_name("FILE");
  app->add_flag("--trace", options->trace, "Show the line's traffic on standard error");
  app->add_flag("--hex", options->hex, "The same with hexadecimal bytes");
  app->add_option("--record", options->record, "Record the line's traffic, see docs/recording.md")->type_name("FILE");
  app->add_option("-v", options->verbosity, "Log to standard error up to this verbosity, 0 to 5")
      ->type_name("LEVEL")
      ->check(CLI::Range(0, 5).description(""));
  app->add_flag("--json", options->json, "JSON for scripts, one document a line (report, sms, monitor, get, control)");
  app->add_flag_callback("--no-color", program::switchColorOff, "No colours, as with NO_COLOR set");
}

CLI::App* addCommand(CLI::App* app, Invocation* invocation, const char* name, const char* description,
                     void (*command)(const Options&)) {
  CLI::App* const added = app->add_subcommand(name, description)->fallthrough();
  added->final_callback([=] { invocation->command = command; });
  return added;
}

void addModemCommands(CLI::App* app, Invocation* invocation) {
  Options& options = invocation->options;
  addCommand(app, invocation, "report", "Show signal and registration", showReport);
  auto* const sms = addCommand(app, invocation, "sms", "Send a text message", sendMessage);
  sms->add_option("phone", options.phone, "Number to send to")->required();
  sms->add_option("text", options.text, "Text to send, - for standard input")->required();
  sms->add_flag("--force", options.force, "Send to a number that looks wrong");
  auto* const monitor = addCommand(app, invocation, "monitor", "Show reports and events as they come", monitorModem);
  monitor->add_option("--interval", options.intervalSeconds, "Seconds from report to report")
      ->type_name("S")
      ->check(CLI::Range(0.0, 86400.0).description(""))
      ->capture_default_str();
  monitor->add_option("--count", options.count, "End after so many reports [until Ctrl-C]")->type_name("N");
  addCommand(app, invocation, "doctor", "Find out why a modem stays silent", examineModem);
}

void addBoundaryCommands(CLI::App* app, Invocation* invocation) {
  Options& options = invocation->options;
  auto* const check =
      addCommand(app, invocation, "check", "Would the device take this configuration?", checkConfiguration);
  check->add_option("file", options.subject, "Configuration to check")->required();
  auto* const get = addCommand(app, invocation, "get", "Read a property", getProperty);
  get->add_option("property", options.subject, "version, Msg, config.types or config.current")->required();
  auto* const set = addCommand(app, invocation, "set", "Write a property", setProperty);
  set->add_option("property", options.subject, "Msg or config.current")->required();
  set->add_option("file", options.document, "JSON document, - for standard input")->required();
  auto* const control = addCommand(app, invocation, "control", "Send a control code", sendControlCode);
  control->add_option("code", options.subject, "sendSMS or TerminateDevice")->required();
  control->add_option("json", options.document, "Input document as JSON text");
}

}  // namespace

Invocation readCommandLine(int argc, char** argv) {
  Invocation invocation;
  CLI::App app("Drives one GSM modem through the GSMModem device plug-in.", "gsm-host");
  app.footer(kFooter);
  app.require_subcommand(1);
  addLineOptions(&app, &invocation.options);
  addCommonOptions(&app, &invocation.options);
  addModemCommands(&app, &invocation);
  addBoundaryCommands(&app, &invocation);
  for (const char* const textOnly : {"doctor", "check", "set"}) {
    app.get_subcommand(textOnly)->excludes(app.get_option("--json"));
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    invocation.command = nullptr;
    invocation.exitCode = app.exit(request);
  } catch (const CLI::ParseError& error) {
    invocation.command = nullptr;
    std::cerr << program::red(std::cerr, "gsm-host:") << " " << error.what() << "; see gsm-host --help" << std::endl;
    invocation.exitCode = kUsage;
  }
  return invocation;
}

}  // namespace orvix::host

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "app/common/logging.h"
#include "host/commands.h"
#include "host/exitCode.h"
#include "host/scratchConfig.h"

namespace {

using namespace orvix::host;

struct CommandLine {
  Options options;
  std::string device;
  int verbosity = 0;
  std::string phone;
  std::string text;
};

void describe(CLI::App* app, CommandLine* line) {
  app->description("Drives one GSM modem through the GSMModem device plug-in.");
  app->footer(
      "Exit codes: 0 done, 2 usage, 3 configuration refused, 4 line not opened, 5 modem silent or refusing,\n"
      "1 anything else. Try it without hardware: gsm-modem-simulator, then --device with the path it prints.");
  app->require_subcommand(1);
  app->add_option("--plugin", line->options.plugin, "Plug-in module [libgsmmodem.so beside this program or installed]")
      ->type_name("FILE");
  auto* const config = app->add_option("--config", line->options.configFile, "Device configuration")->type_name("FILE");
  app->add_option("--device", line->device, "Line of the modem, instead of a configuration: PATH:baud,parity,data,stop")
      ->type_name("LINE")
      ->excludes(config);
  app->add_flag("--trace", line->options.trace, "Show the line's traffic on standard error");
  app->add_option("-v", line->verbosity, "Log to standard error up to this verbosity, 0 to 5")->type_name("LEVEL");
  app->add_subcommand("report", "Show signal and registration");
  auto* const sms = app->add_subcommand("sms", "Send a text message");
  sms->add_option("phone", line->phone, "Number to send to")->required();
  sms->add_option("text", line->text, "Text to send")->required();
}

void run(const CLI::App& app, CommandLine line) {
  std::unique_ptr<ScratchConfig> scratch;
  if (!line.device.empty()) {
    scratch = std::make_unique<ScratchConfig>(line.device);
    line.options.configFile = scratch->path();
  } else if (line.options.configFile.empty()) {
    throw Failure(kUsage, "which modem? Give --device PATH:115200,n,8,1 or --config FILE");
  }
  DeviceSession session(line.options);
  if (app.got_subcommand("sms")) {
    sendMessage(&session, line.phone, line.text);
  } else {
    showReport(&session);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  CommandLine line;
  describe(&app, &line);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  orvix::setUpLogging(true, argv[0], true, 0, line.verbosity, "", "");
  int result = kDone;
  try {
    run(app, line);
  } catch (const Failure& failure) {
    std::cerr << "gsm-host: " << failure.what() << std::endl;
    result = failure.exitCode();
  } catch (const std::exception& error) {
    std::cerr << "gsm-host: " << error.what() << std::endl;
    result = kInternal;
  }
  orvix::tearDownLogging();
  return result;
}

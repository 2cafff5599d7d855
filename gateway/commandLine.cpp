#include "gateway/commandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "gateway/client/commands.h"
#include "gateway/exitCode.h"
#include "gateway/message/name.h"
#include "program/complaint.h"

namespace orvix::gateway {
namespace {

// As the service's own limit, so that a mistake is told before anything is sent.
constexpr int kLongestExpiry = 31 * 86400;
constexpr int kLongestWait = 31 * 86400;

constexpr char kFooter[] =
    "Exit codes: 0 done (send --wait: sent), 1 anything else, 2 usage, 3 configuration, 4 the service is not\n"
    "running (run: already running), 5 failed, expired or cancelled, 6 uncertain, 7 not yet, 8 refused by the\n"
    "service. Write -- before a text that begins with a dash. More in gsm-gateway(1).";

// Decimal, as it is meant: the library would take 0600 for 384.
std::string withoutLeadingZeros(std::string number) {
  number.erase(0, std::min(number.find_first_not_of('0'), number.size() - 1));
  return number;
}

// Fills the library's tree of commands, whose callbacks refer to it: it must live until the line has been read.
class Commands {
 public:
  Commands(CLI::App* program, Invocation* result) : app(program), invocation(result), options(result->options) {}

  void addService(const OwnCommands& own) {
    CLI::App* const run = add("run", "Run the service in the foreground, until SIGTERM", own.run);
    run->add_flag("--verbose", options.isVerbose, "Log the errors of the plug-in and of the lines, too");
    add("check", "Check the configuration; prints every problem with its key", own.check);
    // No group: the help does not show it.
    add("worker", "", own.worker)->group("");
  }

  void addMessages() {
    addSend();
    CLI::App* const list = add("list", "Show the outbox, oldest first", client::listMessages);
    list->add_option("--state", options.state, "Show only messages in this state")
        ->type_name("STATE")
        ->check(oneOf({"queued", "attempting", "sent", "failed", "uncertain", "expired", "cancelled"}));
    addJson(list);
    CLI::App* const show = add("show", "Show one message with its attempts", client::showMessage);
    addId(show);
    addJson(show);
    CLI::App* const resolve = add("resolve", "Decide on an uncertain message", client::resolveMessage);
    addId(resolve);
    resolve->add_option("as", options.resolution, "sent: it arrived; resend: send it once more; drop: give it up")
        ->type_name("sent|resend|drop")
        ->required()
        ->check(oneOf({"sent", "resend", "drop"}));
    addId(add("cancel", "Take a queued message back", client::cancelMessage));
  }

  void addOthers() {
    addJson(add("status", "Show modems, signal, queue and doors", client::showStatus));
    CLI::App* const token = add("token",
                                "Print a new token, and on a line of its own what to add to http.tokens of the "
                                "configuration",
                                client::makeToken);
    token->add_option("name", options.tokenName, "Whose token it is")->type_name("NAME")->required()->check(nameRule());
  }

 private:
  CLI::App* add(const char* name, const char* description, const Command& command) {
    CLI::App* const added = app->add_subcommand(name, description)->fallthrough();
    // Only noted: it is executed when the whole line has been understood.
    added->final_callback([this, command] { invocation->command = command; });
    return added;
  }

  void addSend() {
    CLI::App* const send = add("send", "Hand a message to the service; prints its id", client::sendMessage);
    send->add_option("number", options.number, "Number to send to: 3 to 20 digits, with a + in front or without")
        ->type_name("NUMBER")
        ->required();
    send->add_option("text", options.text, "Text to send, 1 to 160 characters")->type_name("TEXT")->required();
    send->add_option("--id", options.id, "Id of the message; sending again with the same id sends once [a new id]")
        ->type_name("ID")
        ->check(nameRule());
    send->add_option("--priority", options.priority, "Priority: alarm, normal or bulk [normal]")
        ->type_name("PRIORITY")
        ->check(oneOf({"alarm", "normal", "bulk"}));
    send->add_option("--expires", options.expiresSeconds, "Give up after so many seconds, at most 31 days")
        ->type_name("SECONDS")
        ->transform(withoutLeadingZeros)
        ->check(CLI::Range(1, kLongestExpiry).description(""));
    send->add_option("--on-uncertain", options.onUncertain,
                     "If uncertain: hold for a person, or resend, which may arrive twice [hold]")
        ->type_name("hold|resend")
        ->check(oneOf({"hold", "resend"}));
    send->add_option("--wait", options.waitSeconds, "Wait up to so many seconds for the result")
        ->type_name("SECONDS")
        ->transform(withoutLeadingZeros)
        ->check(CLI::Range(0, kLongestWait).description(""));
  }

  void addId(CLI::App* command) {
    command->add_option("id", options.id, "Id of the message")->type_name("ID")->required();
  }

  void addJson(CLI::App* command) { command->add_flag("--json", options.json, "Print JSON, as over HTTP"); }

  static CLI::Validator oneOf(const std::vector<std::string>& words) { return CLI::IsMember(words).description(""); }

  static CLI::Validator nameRule() {
    return {[](const std::string& text) {
              return isName(text) ? std::string() : "1 to 64 characters of A-Z a-z 0-9 . _ -";
            },
            ""};
  }

  CLI::App* const app;
  Invocation* const invocation;
  Options& options;
};

}  // namespace

Invocation readCommandLine(int argc, char** argv, const OwnCommands& own) {
  Invocation invocation;
  CLI::App app("Sends text messages through GSM modems and tells the truth about what became of each.", "gsm-gateway");
  app.set_version_flag("--version", "gsm-gateway " ORVIX_VERSION);
  app.footer(kFooter);
  app.require_subcommand(0, 1);  // a misspelt one is told as such
  app.add_option("--config", invocation.options.configFile, "The service's configuration")
      ->type_name("FILE")
      ->capture_default_str();
  Commands commands(&app, &invocation);
  commands.addService(own);
  commands.addMessages();
  commands.addOthers();
  try {
    app.parse(argc, argv);
    // CLI11 was told that none is fine.
    if (!invocation.command) {
      throw CLI::RequiredError("A command");
    }
  } catch (const CLI::Success& request) {
    invocation.command = nullptr;
    invocation.exitCode = app.exit(request);
  } catch (const CLI::ParseError& error) {
    invocation.command = nullptr;
    program::complain("gsm-gateway", std::string(error.what()) + "; see gsm-gateway --help");
    invocation.exitCode = kUsage;
  }
  return invocation;
}

}  // namespace orvix::gateway

// "annalctl notify": runs the device's notification command.
#include <fmt/format.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/notice/device_commands.h"

namespace annalctl {

namespace {

constexpr char kFooter[] =
    "Starts the command, /usr/local/sbin/notify, and does not wait for it. Missing details of the client come from\n"
    "the variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and HTTP_CLIENT_AGENT. Put values that begin with '-' after\n"
    "'--'.\n"
    "\n"
    "Examples:\n"
    "  annalctl notify A011 7 60 --user admin\n"
    "  annalctl notify A999 1 60 --category C001 --template 'Shutting down in {0} s.' --level warning";

constexpr const char* kCommand = "/usr/local/sbin/notify";

// On the scale of the catalog.
constexpr std::array kLevels{
    Choice{"error", 1},       Choice{"warning", 2},     Choice{"information", 4},
    Choice{"warn", 2, false}, Choice{"info", 4, false},
};
constexpr int kInformation = 4;

// Limits beyond which the library silently drops texts: the command takes at most 22 arguments, 8 of which are always
// there, and a limited number of bytes.
constexpr std::size_t kMostArguments = 22;
constexpr std::size_t kAlwaysThere = 8;
constexpr std::size_t kMostValues = kMostArguments - kAlwaysThere;
constexpr std::size_t kTextRoom = 10240;

struct ClientOption {
  const char* option;
  const char* label;
  const char* variable;  // that the library reads instead; null: none
};

// In the library's order.
constexpr std::array kClientOptions{
    ClientOption{"--ip", "address", nullptr},
    ClientOption{"--user", "user", nullptr},
    ClientOption{"--computer", "host name", nullptr},
    ClientOption{"--client-id", "identifier", "HTTP_CLIENT_ID"},
    ClientOption{"--client-app", "application", "HTTP_CLIENT_APP"},
    ClientOption{"--client-agent", "agent", "HTTP_CLIENT_AGENT"},
};

struct Arguments {
  std::string application;
  std::string number;
  std::vector<std::string> values;
  std::string category;
  std::string text;
  std::optional<unsigned> level;
  int type = 0;
  std::array<std::optional<std::string>, kClientOptions.size()> client;
};

// The catalog's message, which takes a value for each placeholder, unless the command line has a message of its own.
CatalogEntry message_of(const Arguments& arguments) {
  if (!arguments.text.empty()) {
    return {arguments.application.c_str(), 0, arguments.category.c_str(), arguments.number.c_str(),
            arguments.text.c_str()};
  }
  const catalog::Application& application = catalog::require_application(arguments.application);
  const CatalogEntry& entry = catalog::require_entry(application, arguments.number);
  static_cast<void>(catalog::filled(application, entry, arguments.values));
  return entry;
}

// A detail of the client as the library will send it: from the command line, or from the web server's variable.
std::optional<std::string> said_of_client(const Arguments& arguments, std::size_t place) {
  const char* const variable = kClientOptions[place].variable;
  if (arguments.client[place] || variable == nullptr) {
    return arguments.client[place];
  }
  const char* const found = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): the tool has one thread
  return found != nullptr ? std::optional<std::string>(found) : std::nullopt;
}

void require_room(const Arguments& arguments, const CatalogEntry& message) {
  std::size_t count = kAlwaysThere + arguments.values.size();
  std::size_t bytes = fmt::format("-t{} -l{} -A{} -C{} -M{} ", arguments.type, kInformation, message.app_id,
                                  message.category_id, message.msg_no)
                          .size();
  for (std::size_t i = 0; i < kClientOptions.size(); ++i) {
    if (const std::optional<std::string> said = said_of_client(arguments, i)) {
      bytes += fmt::format("{}={} ", kClientOptions[i].option, *said).size();
      ++count;
    }
  }
  for (const std::string& value : arguments.values) {
    bytes += value.size() + 1;
  }
  if (count > kMostArguments) {
    throw Refusal(fmt::format("the command takes {} arguments, and these would be {}", kMostArguments, count));
  }
  if (bytes > kTextRoom) {
    throw Refusal(fmt::format("the command takes {} bytes, and these would be {}", kTextRoom, bytes));
  }
}

int send(const Arguments& arguments, const CatalogEntry& message) {
  std::array<const char*, kClientOptions.size()> client{};
  for (std::size_t i = 0; i < client.size(); ++i) {
    client[i] = arguments.client[i] ? arguments.client[i]->c_str() : nullptr;
  }
  std::array<const char*, kMostValues> values{};
  for (std::size_t i = 0; i < arguments.values.size(); ++i) {
    values[i] = arguments.values[i].c_str();
  }
  const bool usable = message.level == 1 || message.level == 2;
  const int level =
      static_cast<int>(arguments.level.value_or(usable ? static_cast<unsigned>(message.level) : kInformation));
  // The library takes a null pointer after the last value as the end.
  return notify_send(client[0], client[1], client[2], client[3], client[4], client[5], &message, arguments.type, level,
                     values[0], values[1], values[2], values[3], values[4], values[5], values[6], values[7], values[8],
                     values[9], values[10], values[11], values[12], values[13], static_cast<const char*>(nullptr));
}

int run_notify(const Arguments& arguments) {
  if (arguments.client[0] && !arguments.client[0]->empty()) {
    require_address(*arguments.client[0]);
  }
  const CatalogEntry message = message_of(arguments);
  require_room(arguments, message);
  if (access(kCommand, X_OK) != 0) {
    complain(fmt::format("cannot run {}: {}", kCommand, system_message(errno)));
    return kFailure;
  }
  if (send(arguments, message) != ANNAL_OK) {
    complain(fmt::format("cannot start {}: no process can be created", kCommand));
    return kFailure;
  }
  return kSuccess;
}

}  // namespace

void add_notify(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("notify", "Send one message by the device's notification command");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  command->fallthrough();
  command->add_option("APPLICATION", arguments->application, "The application's identifier, as A011")->required();
  command->add_option("NUMBER", arguments->number, "The message's number within the application")->required();
  command->add_option("VALUES", arguments->values, "Values for {0}, {1} and so on in the message");
  auto* const category =
      command->add_option("--category", arguments->category, "The category of a message that is not in the catalog")
          ->type_name("TEXT");
  auto* const text =
      command->add_option("--template", arguments->text, "The text of such a message")->type_name("TEXT");
  category->needs(text);
  text->needs(category);
  add_choice(*command, "--level", arguments->level, kLevels, "Level (default: the message's own, or information)");
  command->add_option("--type", arguments->type, "The number of the notice's type; without it 0")->type_name("N");
  for (std::size_t i = 0; i < kClientOptions.size(); ++i) {
    command
        ->add_option(kClientOptions[i].option, arguments->client[i],
                     fmt::format("The client's {}", kClientOptions[i].label))
        ->type_name("TEXT");
  }
  command->callback([arguments, &session] { session.status = run_notify(*arguments); });
}

}  // namespace annalctl

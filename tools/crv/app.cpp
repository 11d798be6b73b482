#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>

#include "commands.h"
#include "commands_json.h"

namespace crvtool {
namespace {

std::map<std::string, RunCommand>& Registry() {
  static std::map<std::string, RunCommand> registry;
  return registry;
}

// The list of subcommands under `crv --help` shows the first sentence of each description; the
// subcommand's own --help shows all of it.
class Formatter : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* sub) const override {
    std::string what = sub->get_description();
    const size_t stop = what.find(". ");
    if (stop != std::string::npos) what.resize(stop + 1);
    std::stringstream out;
    CLI::detail::format_help(out, sub->get_display_name(true), what, column_width_);
    return out.str();
  }
};

void AddFlag(CLI::App* cmd, const std::string& name, Arg& arg, const std::string& help) {
  cmd->add_flag_function(name, [&arg](int64_t) { arg.given = true; }, help);
}

// One subcommand from its entry in commands.json.
void AddCommand(CLI::App& app, const nlohmann::json& entry, Session& s) {
  const std::string name = entry.at("name");
  const auto run = Registry().find(name);
  if (run == Registry().end()) throw std::logic_error("no code registered for " + name);
  auto args = std::make_shared<Args>();
  CLI::App* cmd = app.add_subcommand(name, entry.at("about").get<std::string>());
  cmd->footer("Example:\n  " + entry.at("example").get<std::string>());
  if (entry.contains("curve")) {
    const std::string p = entry["curve"][0];
    AddArg(cmd, "--curve", args->Slot("--curve"), entry["curve"][1],
           "\"" + p + " " + p + " " + p + " " + p + "\"");
  }
  for (const nlohmann::json& o : entry.at("options")) {
    Arg& arg = args->Slot(o[0]);
    if (o[1] == "") {
      AddFlag(cmd, o[0], arg, o[2]);
      continue;
    }
    if (o.size() > 3) arg.text = o[3];
    AddArg(cmd, o[0], arg, o[2], o[1]);
  }
  if (!entry.value("plain", false)) {
    AddFlag(cmd, "--json", args->Slot("--json"), "Print the result as JSON");
    AddArg(cmd, "--svg", args->Slot("--svg"),
           "Also draw the result into an SVG picture; '-' writes the picture to standard output "
           "instead of the report",
           "FILE");
  }
  cmd->callback([args, fn = run->second, &s] { fn(*args, s); });
}

}  // namespace

Registered::Registered(const char* name, RunCommand run) { Registry()[name] = run; }

std::unique_ptr<CLI::App> MakeApp(Session& s) {
  auto app = std::make_unique<CLI::App>(
      "crv: cubic Bezier curve mathematics from the command line. Every subcommand works on a\n"
      "built-in curve unless --curve gives one, prints plain text (or JSON with --json) and\n"
      "can draw its result (--svg FILE).\n\n" +
          std::string(kRangeText) + "\n\n" + kExitText,
      "crv");
  app->set_version_flag("--version", CRV_TOOL_VERSION);
  app->require_subcommand(1);
  app->formatter(std::make_shared<Formatter>());
  app->footer(
      "Examples:\n"
      "  crv eval --curve \"0,0 0,1 1,1 1,0\" --t 0.5\n"
      "  crv ease --css 0.42,0,0.58,1 --x 0.25 --json\n"
      "  crv demo --out gallery          (one picture per subcommand, and index.html)\n"
      "Run crv SUBCOMMAND --help for the options of each.");
  for (const nlohmann::json& entry : nlohmann::json::parse(kCommandsJson)) AddCommand(*app, entry, s);
  return app;
}

}  // namespace crvtool

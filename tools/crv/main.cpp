// The crv command-line tool: a dispatcher only. Each subcommand lives in its own file, registers
// itself here and does its work in its callback, which runs during parsing.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "commands.h"
#include "demo.h"

namespace {

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

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "crv: cubic Bezier curve mathematics from the command line. Every subcommand works on a\n"
      "built-in curve unless --curve gives one, prints plain text (or JSON with --json) and\n"
      "can draw its result (--svg FILE). Bad input exits with status 2 and a one-line message.",
      "crv"};
  app.set_version_flag("--version", CRV_TOOL_VERSION);
  app.require_subcommand(1);
  app.formatter(std::make_shared<Formatter>());
  app.footer(
      "Examples:\n"
      "  crv eval --curve \"0,0 0,1 1,1 1,0\" --t 0.5\n"
      "  crv ease --css 0.42,0,0.58,1 --x 0.25 --json\n"
      "  crv demo --out gallery          (one picture per subcommand, and index.html)\n"
      "Run crv SUBCOMMAND --help for the options of each.");

  crvtool::RegisterEval(app);
  crvtool::RegisterBounds(app);
  crvtool::RegisterSplit(app);
  crvtool::RegisterDrag(app);
  crvtool::RegisterEase(app);
  crvtool::RegisterLength(app);
  crvtool::RegisterByDistance(app);
  crvtool::RegisterFit(app);
  crvtool::RegisterFlatten(app);
  crvtool::RegisterProject(app);
  crvtool::RegisterNearest(app);
  crvtool::RegisterPlane(app);
  crvtool::RegisterDemo(app);

  // Messages name the subcommand that refused, so a script's log says what went wrong where.
  auto where = [&app] {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? std::string("crv: ") : "crv " + parsed.front()->get_name() + ": ";
  };
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {  // --help or --version
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << where() << e.what() << " (see --help)\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << where() << e.what() << '\n';
    return 2;
  }
  return 0;
}

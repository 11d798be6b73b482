// The crv command-line tool: a dispatcher only. Each subcommand lives in its own file, registers
// itself here and does its work in its callback, which runs during parsing.
#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

#include "demo.h"

int main(int argc, char** argv) {
  CLI::App app{"Cubic Bezier curve mathematics from the command line.", "crv"};
  app.set_version_flag("--version", CRV_TOOL_VERSION);
  app.require_subcommand(1);

  crvtool::RegisterDemo(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {  // --help or --version
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "crv: " << e.what() << " (see crv --help)\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "crv: " << e.what() << '\n';
    return 2;
  }
  return 0;
}

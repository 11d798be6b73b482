// The subcommands: commands.json declares each with its help and options, and each one's file
// registers the code that runs it.
#ifndef CRV_TOOL_COMMANDS_H
#define CRV_TOOL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <memory>

#include "common.h"

namespace crvtool {

using RunCommand = void (*)(const Args& a, Session& s);

// Registers the code of subcommand `name`, as each subcommand's file does with a file-scope
// `const Registered kRegistered("eval", Run);`.
struct Registered {
  Registered(const char* name, RunCommand run);
};

// The whole tool, reporting to `s`: main() parses the real command line with it, `crv demo` the
// command line of each picture of the gallery. Throws std::logic_error when commands.json and
// the registered code disagree.
std::unique_ptr<CLI::App> MakeApp(Session& s);

}  // namespace crvtool

#endif

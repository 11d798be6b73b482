// The crv command-line tool: the dispatcher. Each subcommand lives in its own file, registers
// its code with MakeApp and does its work in its callback, which runs during parsing.
#include <CLI/CLI.hpp>
#include <cctype>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#if defined(_WIN32)
#include "windows_posix.h"
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "commands.h"
#include "output.h"

namespace crvtool {
namespace {

// One line however long or strange the message: control characters become blanks and every
// word longer than 80 characters is cut, so an echoed argument cannot flood the terminal.
std::string OneLine(const std::string& message) {
  std::string out, word;
  auto flush = [&] {
    out += word.size() > 80 ? word.substr(0, 76) + "..." : word;
    word.clear();
  };
  for (char c : message) {
    if (std::isspace(static_cast<unsigned char>(c)) || std::iscntrl(static_cast<unsigned char>(c))) {
      flush();
      if (!out.empty() && out.back() != ' ') out += ' ';
    } else {
      word += c;
    }
  }
  flush();
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

// A closed standard descriptor would be reused by the next file the tool opens, and the report
// would land in the picture. Hold each with /dev/null opened the wrong way round, so reading
// standard input meets an error or end and writing standard output fails as it should.
void HoldStandardDescriptors() {
  for (int fd = 0; fd <= 2; ++fd)
    if (fcntl(fd, F_GETFD) < 0) {
      const int held = open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY);
      if (held >= 0 && held != fd) {
        dup2(held, fd);
        close(held);
      }
    }
}

}  // namespace

}  // namespace crvtool

int main(int argc, char** argv) {
  using namespace crvtool;
  HoldStandardDescriptors();
  TakeStandardOutput();
  Session session{std::cout};
  const std::unique_ptr<CLI::App> app = MakeApp(session);

  // Messages name the subcommand that refused, so a script's log says what went wrong where.
  auto fail = [&app](const std::string& what, int status) {
    const auto parsed = app->get_subcommands();
    const std::string where =
        parsed.empty() ? std::string("crv: ") : "crv " + parsed.front()->get_name() + ": ";
    std::cerr << OneLine(where + what) << '\n';
    return status;
  };
  std::string names;
  bool known = false;
  for (const CLI::App* sub : app->get_subcommands({})) {
    names += (names.empty() ? "" : ", ") + sub->get_name();
    known = known || (argc > 1 && sub->get_name() == argv[1]);
  }
  if (argc > 1 && argv[1][0] != '-' && !known)
    return fail("unknown subcommand " + Quote(argv[1]) + "; the subcommands are " + names, kExitBadInput);
  try {
    app->parse(argc, argv);
    CloseStandardOutput();
  } catch (const CLI::Success& e) {  // --help or --version
    const int status = app->exit(e);
    try {
      CloseStandardOutput();
    } catch (const WriteError& w) {
      return fail(w.what(), kExitWrite);
    }
    return status;
  } catch (const CLI::ParseError& e) {
    return fail(std::string(e.what()) + " (see --help)", kExitBadInput);
  } catch (const WriteError& e) {
    return fail(e.what(), kExitWrite);
  } catch (const std::exception& e) {
    return fail(e.what(), kExitBadInput);
  }
  return session.status;
}

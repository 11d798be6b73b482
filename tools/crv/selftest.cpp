// `crv selftest`: runs the catalogue of exports against the libcrv this program loaded and
// compares every result code and output with the reference bits installed with the package. The
// library's results are fixed bit for bit; a build that differs was compiled with other
// floating-point settings or runs on another mathematical library, and the report says where.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "catalogue/catalogue.h"
#include "commands.h"

namespace crvtool {
namespace {

namespace fs = std::filesystem;

// The reference beside the installed tool, <prefix>/share/crv/golden.txt for <prefix>/bin/crv,
// or the source tree's for the tool where the build made it. Only Linux tells a program its own
// path this way; elsewhere the reference is named with --reference, and an empty path says so.
std::string DefaultReference() {
#if defined(__linux__)
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return {};
  const fs::path installed = exe.parent_path().parent_path() / "share" / "crv" / "golden.txt";
#if defined(CRV_BUILD_DIR) && defined(CRV_BUILD_REFERENCE)
  if (!fs::exists(installed, ec) && fs::equivalent(exe.parent_path(), CRV_BUILD_DIR, ec))
    return CRV_BUILD_REFERENCE;
#endif
  return installed.string();
#else
  return {};
#endif
}

// The reference file's lines. Whatever the path names, at most `most` bytes are read, and what
// does not begin as the reference does (`header`, its first line) is refused as no reference.
std::vector<std::string> ReadReference(const std::string& path, const std::string& header,
                                       size_t most) {
  const std::string refused = "--reference: " + Quote(path) + " is not a reference file";
  std::error_code ec;
  if (fs::is_directory(path, ec)) throw InputError(refused + " but a directory");
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw InputError("--reference: cannot read " + Quote(path) + ": " + std::strerror(errno));
  std::string text(most + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(file.gcount()));
  if (text.size() > most)
    throw InputError(refused + " (longer than " + std::to_string(most) + " bytes)");
  // Read as bytes, so a copy that went through a Windows checkout may end its lines in \r\n.
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  if (lines.empty() || lines.front() != header)
    throw InputError(refused + " (its first line is not " + Quote(header, 30) + ")");
  return lines;
}

// The calls of a table, "<row> <call>" to the payload, without the comment lines.
std::map<std::string, std::string> Calls(const std::vector<std::string>& table) {
  std::map<std::string, std::string> calls;
  for (const std::string& line : table) {
    const size_t call = line.find(' '), payload = line.find(' ', call + 1);
    if (line.empty() || line[0] == '#' || payload == std::string::npos) continue;
    calls[line.substr(0, payload)] = line.substr(payload + 1);
  }
  return calls;
}

// The first word at which two payloads differ, as "reference W, this build W'" (doubles are the
// hex digits of their bits), and both payloads whole.
std::string Difference(const std::string& want, const std::string& got) {
  std::istringstream a(want), b(got);
  std::string x, y;
  while (true) {
    const bool more = static_cast<bool>(a >> x), other = static_cast<bool>(b >> y);
    if (!more || !other || x != y) {
      x = more ? x : "(nothing)";
      y = other ? y : "(nothing)";
      break;
    }
  }
  return "reference " + x + ", this build " + y + "\n    reference:  " + want +
         "\n    this build: " + got + "\n";
}

void Run(const Args& a, Session& s) {
  RefuseUnless(a["--print"].given, a["--full"], "--full", "applies to --print only");
  RefuseUnless(!a["--print"].given, a["--reference"], "--reference",
               "--print prints this build's outputs and reads no reference");
  if (a["--print"].given) {
    for (const std::string& line : crvcat::GoldenTable(a["--full"].given)) s.out << line << '\n';
    return;
  }
  if (!crvcat::HasPairedPath())
    throw InputError("this processor has no paired (SSE3) path, which the reference covers");
  const std::string path = a["--reference"].given ? a["--reference"].text : DefaultReference();
  std::error_code ec;
  if (path.empty() || (!a["--reference"].given && !fs::exists(path, ec)))
    throw InputError("no installed reference " + (path.empty() ? "here" : "at " + Quote(path)) +
                     ": give one with --reference");
  const std::vector<std::string> table = crvcat::GoldenTable();
  // A reference is this build's table give or take some bits: four times its size is plenty.
  size_t size = 0;
  for (const std::string& line : table) size += line.size() + 1;
  const std::map<std::string, std::string> reference =
      Calls(ReadReference(path, table.front(), 4 * size));
  if (reference.empty())
    throw InputError("--reference: " + Quote(path) + " is not a reference file (it holds no calls)");
  const std::map<std::string, std::string> actual = Calls(table);

  std::string report;
  int passed = 0;
  for (const crvcat::Row& row : crvcat::Catalogue()) {
    std::string first;
    for (int i = 0; i < row.calls && first.empty(); ++i) {
      const std::string key = row.name + " " + std::to_string(i);
      const auto want = reference.find(key);
      const std::string got = actual.at(key);
      if (want == reference.end())
        first = row.name + " call " + std::to_string(i) + ": not in the reference\n";
      else if (want->second != got)
        first = row.name + " call " + std::to_string(i) + ": " + Difference(want->second, got);
    }
    passed += first.empty();
    report += first;
  }
  const size_t rows = crvcat::Catalogue().size();
  s.out << passed << "/" << rows << " exports reproduce the reference bits\n";
  if (report.empty()) return;
  s.out << report
        << "Bits that differ mean this libcrv was built or runs differently from the one that made "
           "the reference:\nmultiply-adds contracted into fused ones (-ffp-contract=fast, the "
           "default of some compilers,\nor an -march that enables FMA), or -ffast-math or -Ofast "
           "(the cube root, arc cosine and cosine\nare the library's own, the same everywhere). "
           "Build libcrv with -ffp-contract=off and without\nfast-math.\n";
  s.status = kExitCheckFailed;
}

const Registered kRegistered("selftest", Run);

}  // namespace
}  // namespace crvtool

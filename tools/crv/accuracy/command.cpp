// `crv accuracy [--out DIR]`: measures every family, draws the plots and writes them with
// accuracy.md into DIR.
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "accuracy/accuracy.h"
#include "commands.h"
#include "output.h"

namespace crvtool {
namespace accuracy {
namespace {

namespace fs = std::filesystem;

// Writes the files into DIR, the only files this command is asked to write. A symbolic link in
// their place would make it replace a file elsewhere: any one refuses them all, before anything
// is written.
void WriteAll(const fs::path& dir, const std::vector<std::pair<std::string, std::string>>& files) {
  for (const auto& [name, text] : files) {
    std::error_code ec;
    if (fs::is_symlink(fs::symlink_status(dir / name, ec)))
      throw WriteError("--out: " + Quote((dir / name).string()) +
                       " is a symbolic link; crv accuracy writes only its own files in DIR");
  }
  for (const auto& [name, text] : files) WriteFileSafely((dir / name).string(), text, "--out");
}

void Run(const Args& a, Session& s) {
  const fs::path dir = a["--out"].text;
  std::error_code ec;
  fs::create_directories(dir, ec);
  if (ec) throw WriteError("--out: cannot create " + Quote(dir.string()) + ": " + ec.message());
  Rng r(20240601);
  const std::vector<Family> families = Families(r);
  Report report;
  MeasureEvaluation(r, families, report);
  MeasureFunctionCurves(r, families, report);
  MeasureArcLength(r, families, report);
  MeasureFits(r, families, report);
  MeasureFlattening(families, report);
  MeasureSpace(r, families, report);
  std::vector<Family> listed = families;
  listed.push_back(Sizes());
  std::vector<svg::Point> asGiven, unitBox;
  MeasureNearestBySize(listed.back(), report, &asGiven, &unitBox);
  WriteAll(dir, {{"accuracy-t-from-x.svg", PlotTFromX()},
                 {"accuracy-arc-length.svg", PlotArcTable()},
                 {"accuracy-t-from-s.svg", PlotTFromS()},
                 {"accuracy-nearest-by-size.svg", PlotNearestBySize(asGiven, unitBox)},
                 {"accuracy.md", Document(listed, report, asGiven, unitBox)}});
  s.out << "wrote " << (dir / "accuracy.md").string() << " and 4 plots\n";
}

const Registered kRegistered("accuracy", Run);

}  // namespace
}  // namespace accuracy
}  // namespace crvtool

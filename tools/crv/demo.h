// `crv demo`: runs the library over the default curves, prints what it computes and writes a
// gallery of pictures.
#ifndef CRV_TOOL_DEMO_H
#define CRV_TOOL_DEMO_H

#include <filesystem>
#include <ostream>

namespace crvtool {

// Prints the report to `out` and writes the gallery into outDir (created if needed): one picture
// per subcommand, each drawn by the command line index.html shows under it. Returns the path of
// index.html; throws WriteError when a file or the directory cannot be written.
std::filesystem::path RunDemo(const std::filesystem::path& outDir, std::ostream& out);

}  // namespace crvtool

#endif

// `crv demo`: runs the library over the default curves and prints what it computes.
#ifndef CRV_TOOL_DEMO_H
#define CRV_TOOL_DEMO_H

#include <filesystem>
#include <ostream>

namespace CLI {
class App;
}

namespace crvtool {

void RegisterDemo(CLI::App& app);

// Prints the report to `out` and writes crv-demo.svg into outDir, creating the directory if
// needed. Returns the path of the picture; throws std::runtime_error on any failure.
std::filesystem::path RunDemo(const std::filesystem::path& outDir, std::ostream& out);

}  // namespace crvtool

#endif

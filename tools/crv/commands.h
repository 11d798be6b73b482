// The subcommands. Each lives in its own file: Register* adds it to the tool, Gallery* draws its
// picture on the subcommand's default input (for `crv demo`).
#ifndef CRV_TOOL_COMMANDS_H
#define CRV_TOOL_COMMANDS_H

#include <filesystem>

namespace CLI {
class App;
}

namespace crvtool {

void RegisterEval(CLI::App& app);
void RegisterBounds(CLI::App& app);
void RegisterSplit(CLI::App& app);
void RegisterDrag(CLI::App& app);
void RegisterEase(CLI::App& app);
void RegisterLength(CLI::App& app);
void RegisterByDistance(CLI::App& app);
void RegisterFit(CLI::App& app);
void RegisterFlatten(CLI::App& app);
void RegisterProject(CLI::App& app);
void RegisterNearest(CLI::App& app);
void RegisterPlane(CLI::App& app);

void GalleryEval(const std::filesystem::path& svg);
void GalleryBounds(const std::filesystem::path& svg);
void GallerySplit(const std::filesystem::path& svg);
void GalleryDrag(const std::filesystem::path& svg);
void GalleryEase(const std::filesystem::path& svg);
void GalleryLength(const std::filesystem::path& svg);
void GalleryByDistance(const std::filesystem::path& svg);
void GalleryFit(const std::filesystem::path& svg);
void GalleryFlatten(const std::filesystem::path& svg);
void GalleryProject(const std::filesystem::path& svg);
void GalleryNearest(const std::filesystem::path& svg);
void GalleryPlane(const std::filesystem::path& svg);

}  // namespace crvtool

#endif

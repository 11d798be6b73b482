// Writing the files the tool makes (pictures, the gallery) and checking standard output.
#ifndef CRV_TOOL_OUTPUT_H
#define CRV_TOOL_OUTPUT_H

#include <string>

#include "common.h"

namespace crvtool {

// Replaces the file `path` with `text` so that it is either the whole new content or untouched:
// the text goes to a temporary file in the target's directory, which is renamed over the
// target. A symbolic link is followed and the file it names is replaced; an existing file keeps
// its mode and owner. Throws WriteError for a target that exists and is not a regular file, or
// that the user may not write, and when writing fails. Whatever fails, no
// temporary file stays behind, also when SIGINT, SIGTERM or SIGHUP arrives meanwhile.
// `what` starts each message ("--svg").
void WriteFileSafely(const std::string& path, const std::string& text, const std::string& what);

// `text` to standard output of the session when `target` is "-", else WriteFileSafely.
void WriteTarget(const std::string& target, const std::string& text, const std::string& what,
                 Session& s);

// Puts std::cout on a buffer of its own over descriptor 1 that keeps the reason of the first
// failed write; stdio forgets it by the time the stream is flushed.
void TakeStandardOutput();

// Flushes and closes standard output; throws WriteError with the reason when anything written
// there was lost (a full disk, a closed descriptor).
void CloseStandardOutput();

}  // namespace crvtool

#endif

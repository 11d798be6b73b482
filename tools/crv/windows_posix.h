// The few POSIX calls of the crv tool, on Windows (MinGW-w64): the tool writes files and holds
// its standard descriptors the POSIX way, and this header gives those calls their nearest
// Windows meaning, so that the sources stay one. Included on Windows only, after the C and C++
// headers of a source file.
#ifndef CRV_TOOLS_CRV_WINDOWS_POSIX_H
#define CRV_TOOLS_CRV_WINDOWS_POSIX_H

#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

// Whether a descriptor is open: Windows knows no descriptor flags, only whether a handle is there.
#define F_GETFD 1
inline int fcntl(int fd, int) { return _get_osfhandle(fd) == -1 ? -1 : 0; }

// No symbolic links are followed: lstat is stat, and nothing is a link.
inline int lstat(const char* path, struct stat* st) { return stat(path, st); }
#define S_ISLNK(mode) 0
inline ssize_t readlink(const char*, char*, size_t) {
  errno = EINVAL;
  return -1;
}

// Files have no POSIX mode bits or owners beyond what the file system keeps by itself.
inline int fchmod(int, mode_t) { return 0; }
inline int fchown(int, int, int) { return 0; }
inline int geteuid() { return 0; }
inline int getegid() { return 0; }
inline int fsync(int fd) { return _commit(fd); }

// The console's Ctrl+Break stands in for a hangup.
#ifndef SIGHUP
#define SIGHUP SIGBREAK
#endif

// rename() of the C library refuses to replace an existing file, which is what a safe write ends
// with; MoveFileEx replaces it.
inline int crv_rename_replacing(const char* from, const char* to) {
  if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return 0;
  errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : EIO;
  return -1;
}
#define rename crv_rename_replacing

#endif

#include "output.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <streambuf>
#include <cstring>
#include <iostream>
#include <ostream>

#if defined(_WIN32)
#include "windows_posix.h"
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace crvtool {

namespace {

// The temporary file being written, for the signal handler to remove. A fixed buffer: the
// handler may call only async-signal-safe functions.
char g_pendingTemp[4096];
volatile std::sig_atomic_t g_havePending = 0;

extern "C" void RemovePendingTemp(int sig) {
  if (g_havePending) unlink(g_pendingTemp);
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

class PendingTemp {
 public:
  explicit PendingTemp(const std::string& path) {
    std::snprintf(g_pendingTemp, sizeof g_pendingTemp, "%s", path.c_str());
    g_havePending = 1;
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) previous_[Slot(sig)] = std::signal(sig, RemovePendingTemp);
  }
  PendingTemp(const PendingTemp&) = delete;
  PendingTemp& operator=(const PendingTemp&) = delete;
  ~PendingTemp() {
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) std::signal(sig, previous_[Slot(sig)]);
    if (!renamed_) unlink(g_pendingTemp);
    g_havePending = 0;
  }
  void Renamed() { renamed_ = true; }

 private:
  static int Slot(int sig) { return sig == SIGINT ? 0 : sig == SIGTERM ? 1 : 2; }
  void (*previous_[3])(int) = {};
  bool renamed_ = false;
};

std::string Reason(int err) { return std::strerror(err); }

// The file a path names after following symbolic links (at most 40, as the kernel does); the
// last one may name a file that does not exist yet.
std::string FollowLinks(std::string path, const std::string& what) {
  for (int hops = 0; hops < 40; ++hops) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    std::string target(4096, '\0');
    const ssize_t n = readlink(path.c_str(), target.data(), target.size() - 1);
    if (n < 0) throw WriteError(what + ": cannot read the link " + Quote(path) + ": " + Reason(errno));
    target.resize(static_cast<size_t>(n));
    const size_t slash = path.rfind('/');
    path = target[0] == '/' || slash == std::string::npos ? target
                                                           : path.substr(0, slash + 1) + target;
  }
  throw WriteError(what + ": too many symbolic links");
}

}  // namespace

void WriteFileSafely(const std::string& name, const std::string& text, const std::string& what) {
  if (name.empty()) throw InputError(what + ": an empty file name");
  const std::string path = FollowLinks(name, what);
  const std::string shown = Quote(name);

  struct stat st;
  const bool exists = stat(path.c_str(), &st) == 0;
  if (exists && !S_ISREG(st.st_mode))
    throw WriteError(what + ": " + shown + " exists and is not a regular file");
  if (exists && access(path.c_str(), W_OK) != 0)
    throw WriteError(what + ": cannot write " + shown + ": " + Reason(errno));

  const size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string temp = dir + "." + base + ".XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) throw WriteError(what + ": cannot write " + shown + ": " + Reason(errno));
  PendingTemp pending(temp);

  auto fail = [&](int err) {
    close(fd);
    throw WriteError(what + ": cannot write " + shown + ": " + Reason(err));
  };
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) fail(errno);
    done += static_cast<size_t>(n);
  }
  // mkstemp makes the file 0600; a new file gets the usual 0666 less the umask, an existing one
  // its own mode and owner.
  mode_t mode = st.st_mode & 07777;
  if (!exists) {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  if (fchmod(fd, mode) != 0) fail(errno);
  if (exists && (st.st_uid != geteuid() || st.st_gid != getegid()) &&
      fchown(fd, st.st_uid, st.st_gid) != 0) {
    const int err = errno;
    close(fd);
    throw WriteError(what + ": cannot keep the owner of " + shown + ": " + Reason(err));
  }
  if (fsync(fd) != 0) fail(errno);
  if (close(fd) != 0) throw WriteError(what + ": cannot write " + shown + ": " + Reason(errno));
  if (rename(temp.c_str(), path.c_str()) != 0)
    throw WriteError(what + ": cannot write " + shown + ": " + Reason(errno));
  pending.Renamed();
}

void WriteTarget(const std::string& target, const std::string& text, const std::string& what,
                 Session& s) {
  if (target == "-")
    s.out << text;
  else
    WriteFileSafely(target, text, what);
}

namespace {

class DescriptorBuffer : public std::streambuf {
 public:
  DescriptorBuffer() { setp(buffer_, buffer_ + sizeof buffer_); }
  int Error() const { return error_; }

 protected:
  int_type overflow(int_type c) override {
    if (Drain() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  int sync() override { return Drain(); }

 private:
  // Writes out the buffer; after a failure the rest is dropped, as nothing more can arrive.
  int Drain() {
    for (const char* p = pbase(); p < pptr() && !error_;) {
      const ssize_t n = write(1, p, static_cast<size_t>(pptr() - p));
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) error_ = errno;
      else p += n;
    }
    setp(buffer_, buffer_ + sizeof buffer_);
    return error_ ? -1 : 0;
  }

  char buffer_[1 << 16];
  int error_ = 0;
};

// Never destroyed: the standard streams flush std::cout once more after every static object of
// the program is gone.
DescriptorBuffer& StandardOutput() {
  static DescriptorBuffer* const buffer = new DescriptorBuffer;
  return *buffer;
}

}  // namespace

void TakeStandardOutput() { std::cout.rdbuf(&StandardOutput()); }

void CloseStandardOutput() {
  std::cout.flush();
  if (StandardOutput().Error())
    throw WriteError("cannot write standard output: " + Reason(StandardOutput().Error()));
  if (close(1) != 0) throw WriteError("cannot write standard output: " + Reason(errno));
}

}  // namespace crvtool

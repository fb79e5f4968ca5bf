#include "Files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace softtoken {
namespace {

[[noreturn]] void ThrowErrno(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

// Wine's signals interrupt system calls.
template <typename Call>
auto Retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags)
      : m_value(Retried([&] { return ::open(path.c_str(), flags | O_CLOEXEC, 0600); })) {}
  ~Descriptor() {
    if (m_value >= 0) ::close(m_value);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return m_value; }
  int Release() { return std::exchange(m_value, -1); }

 private:
  int m_value;
};

void WriteAll(int descriptor, const Secret& content, const std::string& path) {
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t written = Retried([&] { return ::write(descriptor, content.data() + done, content.size() - done); });
    if (written < 0) ThrowErrno(path);
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace

FileLock::FileLock(const std::string& path) {
  Descriptor file(path, O_RDWR | O_CREAT);
  if (file.Get() < 0) ThrowErrno(path);
  if (Retried([&] { return ::flock(file.Get(), LOCK_EX); }) < 0) ThrowErrno(path);
  m_descriptor = file.Release();
}

FileLock::~FileLock() { ::close(m_descriptor); }

std::optional<Secret> ReadFile(const std::string& path) {
  const Descriptor file(path, O_RDONLY);
  if (file.Get() < 0) {
    if (errno == ENOENT) return std::nullopt;
    ThrowErrno(path);
  }
  Secret content;
  for (;;) {
    constexpr std::size_t kPiece = 4096;
    const std::size_t have = content.size();
    content.resize(have + kPiece);
    const ssize_t got = Retried([&] { return ::read(file.Get(), content.data() + have, kPiece); });
    if (got < 0) ThrowErrno(path);
    content.resize(have + static_cast<std::size_t>(got));
    if (got == 0) return content;
  }
}

void ReplaceFile(const std::string& path, const Secret& content) {
  const std::string fresh = path + ".new";
  {
    const Descriptor file(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    if (file.Get() < 0) ThrowErrno(fresh);
    WriteAll(file.Get(), content, fresh);
    if (::fsync(file.Get()) < 0) ThrowErrno(fresh);
  }
  if (::rename(fresh.c_str(), path.c_str()) < 0) ThrowErrno(path);
}

void MakeFolder(const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string part = path.substr(0, end);
    if (::mkdir(part.c_str(), 0700) < 0 && errno != EEXIST) ThrowErrno(part);
    if (end == std::string::npos) break;
  }
  struct stat status = {};
  if (::stat(path.c_str(), &status) < 0) ThrowErrno(path);
  if (!S_ISDIR(status.st_mode)) throw std::system_error(ENOTDIR, std::generic_category(), path);
}

std::string Resolve(const std::string& folder, const std::string& path) {
  return path.empty() || path.front() == '/' ? path : folder + '/' + path;
}

}  // namespace softtoken

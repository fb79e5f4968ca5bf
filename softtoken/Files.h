// The file operations of the software token. Only the user can read what it writes (files 0600, folders 0700). Every
// failure is a std::system_error whose text names the path.
#pragma once

#include <optional>
#include <string>

#include "SharedNames.h"

namespace softtoken {

// FileLock holds an exclusive lock on a file while it lives, and creates the file if it is missing. It excludes other
// processes and other FileLocks of the same process.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int m_descriptor;
};

// ReadFile returns the content of a file, or nothing if there is no such file.
std::optional<Secret> ReadFile(const std::string& path);

// ReplaceFile writes `content` to `path`. A reader finds either the old content or the new one, even after a crash. Two
// writers of one file must exclude each other.
void ReplaceFile(const std::string& path, const Secret& content);

// MakeFolder creates a folder and the missing ones above it.
void MakeFolder(const std::string& path);

// Resolve returns a relative `path` as a path below `folder`, and an absolute one unchanged.
std::string Resolve(const std::string& folder, const std::string& path);

}  // namespace softtoken

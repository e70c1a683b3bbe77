// Reading and writing files.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace tdc {

/// A file that cannot be read or written; the text names it and says why.
class FileError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

bool isFile(const std::string& path);
/// A path that is the same for every spelling of one file.
std::string canonicalPath(const std::string& path);
std::string joinPath(const std::string& folder, const std::string& name);
std::string folderOf(const std::string& path);

/// Throws `FileError`, also for a file above 8 MB: no description is that long.
std::string readFile(const std::string& path);

/// Leaves the file alone, its time included, where it holds `text` already. Otherwise writes beside
/// it and renames, so that a reader never sees half a file. Throws `FileError`.
/// Returns whether the file changed.
bool writeIfChanged(const std::string& path, const std::string& text);

/// A Make rule: the targets depend on the sources.
std::string makeRule(const std::vector<std::string>& targets,
                     const std::vector<std::string>& sources);

}  // namespace tdc

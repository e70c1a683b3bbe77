#include "tdc/files/Files.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace tdc {

namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t maxFileSize = 8u << 20;

std::string reason(int error) { return std::generic_category().message(error); }

std::string escapedForMake(const std::string& path) {
  std::string escaped;
  for (char c : path) {
    if (c == ' ' || c == '#' || c == '\\') {
      escaped += '\\';
    } else if (c == '$') {
      escaped += '$';
    }
    escaped += c;
  }
  return escaped;
}

}  // namespace

bool isFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

std::string canonicalPath(const std::string& path) {
  std::error_code error;
  fs::path canonical = fs::weakly_canonical(path, error);
  return error ? path : canonical.string();
}

std::string joinPath(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : (fs::path(folder) / name).string();
}

std::string folderOf(const std::string& path) { return fs::path(path).parent_path().string(); }

std::string readFile(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) throw FileError("cannot read '" + path + "': it is a folder");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw FileError("cannot read '" + path + "': " + reason(errno));
  std::string text;
  char block[16384];
  while (in.read(block, sizeof(block)) || in.gcount() > 0) {
    text.append(block, static_cast<size_t>(in.gcount()));
    if (text.size() > maxFileSize) {
      throw FileError("cannot read '" + path + "': it is longer than 8 MB");
    }
  }
  if (in.bad()) throw FileError("cannot read '" + path + "': " + reason(errno));
  return text;
}

bool writeIfChanged(const std::string& path, const std::string& text) {
  if (isFile(path)) {
    std::ifstream in(path, std::ios::binary);
    std::string old((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in && old == text) return false;
  }
  std::error_code error;
  std::string folder = folderOf(path);
  if (!folder.empty()) fs::create_directories(folder, error);
  // The process id keeps two runs apart that a parallel build starts for one output.
  std::string temporary = path + ".new" + std::to_string(::getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) {
      std::string why = reason(errno);
      fs::remove(temporary, error);
      throw FileError("cannot write '" + path + "': " + why);
    }
  }
  fs::rename(temporary, path, error);
  if (error) {
    std::string why = error.message();
    fs::remove(temporary, error);
    throw FileError("cannot write '" + path + "': " + why);
  }
  return true;
}

std::string makeRule(const std::vector<std::string>& targets,
                     const std::vector<std::string>& sources) {
  std::string rule;
  for (const std::string& target : targets) {
    rule += (rule.empty() ? "" : " ") + escapedForMake(target);
  }
  rule += ":";
  for (const std::string& source : sources) rule += " \\\n  " + escapedForMake(source);
  return rule + "\n";
}

}  // namespace tdc

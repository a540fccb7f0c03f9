#include "host/PrivateFiles.h"

#include <filesystem>
#include <fstream>
#include <random>

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr fs::perms kOwnerFile = fs::perms::owner_read | fs::perms::owner_write;

std::string TemporaryBeside(const std::string& path) {
  std::random_device random;
  return path + ".~" + std::to_string(random()) + std::to_string(random());
}

}  // namespace

std::error_code CreatePrivateFolders(const std::string& folder) {
  std::error_code error;
  fs::path made;
  for (const fs::path& part : fs::path(folder)) {
    made /= part;
    if (part.empty() || part == made.root_path()) continue;
    if (fs::create_directory(made, error)) fs::permissions(made, fs::perms::owner_all, error);
    if (error) return error;
  }
  return error;
}

std::error_code ReplaceFile(const std::string& path, std::string_view content) {
  std::error_code error;
  const fs::file_status existing = fs::status(path, error);
  const fs::perms mode = fs::exists(existing) ? existing.permissions() : kOwnerFile;
  error.clear();
  const std::string temporary = TemporaryBeside(path);
  std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
  // Narrowed before anything is written, so that the content is never readable by others.
  fs::permissions(temporary, kOwnerFile, error);
  if (out && !error) {
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) error = std::make_error_code(std::errc::io_error);
  }
  if (!error) fs::permissions(temporary, mode, error);
  if (!error) fs::rename(temporary, path, error);
  if (error) {
    std::error_code ignored;
    fs::remove(temporary, ignored);
  }
  return error;
}

}  // namespace host

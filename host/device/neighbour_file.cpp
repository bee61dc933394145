// SPDX-License-Identifier: Apache-2.0
#include "host/device/neighbour_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>

#include "host/io/descriptor.h"

namespace hub::host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kExpected = "a file in the device file's folder or below";

[[noreturn]] void refuse(const JsonPlace& at, const std::string& reason) {
  at.refuse(kExpected, description(at.value()) + " (" + reason + ")");
}

bool is_inside(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

// The file's own path, without links.
fs::path resolve(const JsonPlace& at) {
  const fs::path name = read_name(at);
  if (name.is_absolute()) {
    refuse(at, "not relative");
  }
  if (std::find(name.begin(), name.end(), "..") != name.end()) {
    refuse(at, "has \"..\" in it");
  }
  std::error_code failure;
  const fs::path folder = fs::canonical(at.folder(), failure);
  fs::path path = failure ? fs::path() : fs::canonical(folder / name, failure);
  if (failure) {
    refuse(at, failure.message());
  }
  if (!is_inside(path, folder)) {
    refuse(at, "a link leads out");
  }
  return path;
}

// An open regular file.
struct OpenFile {
  Descriptor descriptor;
  std::uint64_t size_bytes;
};

OpenFile open_file(const JsonPlace& at) {
  constexpr int kNeverWaitForAPipe = O_NONBLOCK;
  Descriptor descriptor(::open(resolve(at).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | kNeverWaitForAPipe));
  struct stat status {};
  if (descriptor.number() < 0 || fstat(descriptor.number(), &status) != 0) {
    refuse(at, std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    refuse(at, "not a regular file");
  }
  return {std::move(descriptor), static_cast<std::uint64_t>(status.st_size)};
}

std::uint64_t read_size(const std::optional<JsonPlace>& at, std::uint64_t largest, const char* note,
                        std::uint64_t otherwise) {
  return at ? read_integer_bits(*at, 0, largest, note) : otherwise;
}

// Fills the room from an offset on. Throws std::system_error.
void read_at(int descriptor, std::uint64_t offset, std::span<std::byte> room) {
  if (lseek(descriptor, static_cast<off_t>(offset), SEEK_SET) < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  while (!room.empty()) {
    const std::size_t length = read_some(descriptor, room);
    if (length == 0) {
      throw std::system_error(EIO, std::generic_category());  // it has become shorter
    }
    room = room.subspan(length);
  }
}

}  // namespace

void append_file_part(const FilePart& part, Bytes& bytes) {
  const OpenFile file = open_file(*part.file);
  const std::uint64_t offset = read_size(part.offset, file.size_bytes, ", the file's size", 0);
  const std::uint64_t rest = file.size_bytes - offset;
  const std::uint64_t length = read_size(part.length, rest, ", where the file ends", rest);
  const std::size_t before = bytes.size();
  bytes.resize(before + length);
  try {
    read_at(file.descriptor.number(), offset, std::span(bytes).subspan(before));
  } catch (const std::system_error& failure) {
    bytes.resize(before);
    refuse(*part.file, failure.code().message());
  }
}

}  // namespace hub::host

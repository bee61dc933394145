// SPDX-License-Identifier: Apache-2.0
// Any bytes are a device file or an error that names the file, a place in it and what was expected there. A device can
// be put into the registry, and is gone from it without a rest. Files that it names are looked for in a folder of its
// own.
#include "host/device/device_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzzing.h"
#include "fuzz/things_held.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"

namespace {

using namespace hub;
using fuzz::require;

// With a file "part" of 96 bytes in it, for as long as the process lives.
class Folder {
 public:
  Folder() {
    std::string made = (std::filesystem::temp_directory_path() / "hub-fuzz.XXXXXX").string();
    require(mkdtemp(made.data()) != nullptr, "there is a folder", made);
    path_ = made;
    std::ofstream(path_ / "part", std::ios::binary) << std::string(96, '\x43');
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string file() const { return (path_ / "FILE").string(); }

 private:
  std::filesystem::path path_;
};

bool is_control(char character) { return static_cast<unsigned char>(character) < ' ' || character == '\x7F'; }

void check_error(const std::string& error, const std::string& file) {
  require(error.starts_with(file + ": "), "an error names the file", error);
  const std::string_view place = std::string_view(error).substr(file.size() + 2);
  require(place.starts_with("$") || place.starts_with("line "), "an error names a place", error);
  require(place.find(": expected ") != std::string_view::npos, "an error says what was expected", error);
  require(place.find(", found ") != std::string_view::npos, "an error says what was found", error);
  require(std::none_of(error.begin(), error.end(), is_control), "an error has no control characters", error);
}

std::size_t hid_nodes(const std::vector<host::Node>& nodes) {
  std::size_t count = 0;
  for (const host::Node& node : nodes) {
    count += (node.hid ? 1 : 0) + hid_nodes(node.children);
  }
  return count;
}

void check(const host::Device& device) {
  for (const host::Batch& batch : device.batches) {
    require(batch.records.size() % 7 == 0, "a batch is whole records", batch.service);
  }
  host::Observations observations;
  const host::ModelledRegistry registry(device, observations);
  require(registry.services().size() == hid_nodes(device.registry), "each HID node is a service");
  require(observations.complaints().empty(), "nobody complains");
}

const Folder* folder = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  static const Folder of_the_process;
  folder = &of_the_process;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string file = folder->file();
  const auto before = fuzz::things_held();
  try {
    check(host::read_device_text({reinterpret_cast<const char*>(data), size}, file));
  } catch (const host::DeviceFileError& error) {
    check_error(error.what(), file);
  }
  require(fuzz::things_held() == before, "nothing is left over");
  return 0;
}

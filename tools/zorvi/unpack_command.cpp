#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include "commands.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::cli {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void raise(int code, const char* what, const fs::path& path) {
  throw fs::filesystem_error(what, path, std::error_code(code, std::generic_category()));
}

// The folders and file name of an entry key, or nothing when the key could reach outside the
// output folder ("..", an absolute path). Empty and "." components name no folder and are dropped.
std::optional<std::vector<std::string>> safeComponents(std::string_view key) {
  if (key.empty() || key.front() == '/') return std::nullopt;
  std::vector<std::string> components;
  while (!key.empty()) {
    const auto slash = key.find('/');
    const auto component = key.substr(0, slash);
    if (component == "..") return std::nullopt;
    if (!component.empty() && component != ".") components.emplace_back(component);
    key = slash == std::string_view::npos ? std::string_view() : key.substr(slash + 1);
  }
  if (components.empty()) return std::nullopt;
  return components;
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

// Writes files below one folder by walking it with openat and O_NOFOLLOW, so that neither a ".."
// nor a symbolic link already lying in the folder can lead a write outside it.
class FolderWriter {
 public:
  explicit FolderWriter(const fs::path& root) : root_(root), rootFd_(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (rootFd_.get() < 0) raise(errno, "cannot open the folder", root);
  }

  void write(const std::vector<std::string>& components, std::span<const std::uint8_t> bytes) {
    fs::path shown = root_;
    for (const auto& component : components) shown /= component;
    Descriptor folder(::dup(rootFd_.get()));
    for (std::size_t i = 0; i + 1 < components.size(); ++i) {
      const char* name = components[i].c_str();
      if (::mkdirat(folder.get(), name, 0777) != 0 && errno != EEXIST) raise(errno, "cannot create a folder", shown);
      Descriptor next(::openat(folder.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (next.get() < 0) raise(errno == ELOOP ? EACCES : errno, "refusing to follow a link or non-folder", shown);
      folder = std::move(next);
    }
    const char* name = components.back().c_str();
    Descriptor file(::openat(folder.get(), name, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (file.get() < 0) raise(errno, "cannot create the file", shown);
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t written = ::write(file.get(), bytes.data() + done, bytes.size() - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        const int code = written < 0 ? errno : EIO;
        ::unlinkat(folder.get(), name, 0);  // no half-written file is left behind
        raise(code, "cannot write the file", shown);
      }
      done += static_cast<std::size_t>(written);
    }
  }

 private:
  fs::path root_;
  Descriptor rootFd_;
};

}  // namespace

int runUnpack(const Arguments& arguments) {
  arguments.expect(2);
  const fs::path board = arguments.operands[0];
  const fs::path folder = arguments.operands[1];
  BoardBundle bundle;
  if (const int status = reportingFailures(board, [&] { bundle = BoardArchive::read(board); }); status != exitSuccess) {
    return status;
  }
  // Every key is checked before anything is written, so a hostile board leaves no partial output.
  std::vector<std::pair<std::vector<std::string>, const Bytes*>> files;
  for (const auto* entries : {&bundle.images, &bundle.thumbnails}) {
    for (const auto& [key, bytes] : *entries) {
      auto components = safeComponents(key);
      if (!components) return fail(folder, "filesystem", "entry " + key + " would land outside the folder");
      files.emplace_back(std::move(*components), &bytes);
    }
  }
  return reportingFailures(folder, [&] {
    const std::string json = ManifestCoder::encode(bundle.manifest);
    fs::create_directories(folder);
    FolderWriter writer(folder);
    writer.write({std::string(BoardArchive::manifestPath)},
                 std::span(reinterpret_cast<const std::uint8_t*>(json.data()), json.size()));
    for (const auto& [components, bytes] : files) writer.write(components, *bytes);
  });
}

}  // namespace zorvi::cli

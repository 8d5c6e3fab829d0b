#include "output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common.h"

namespace tarn {

namespace fs = std::filesystem;

const char* const kIndent = "  ";

namespace {

// Writes to a file descriptor for pugixml, remembering the first error.
class DescriptorWriter : public pugi::xml_writer {
 public:
  explicit DescriptorWriter(int fd) : fd_(fd) {}
  void write(const void* data, std::size_t size) override {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0 && error_ == 0) {
      const ssize_t n = ::write(fd_, bytes, size);
      if (n < 0) {
        if (errno != EINTR) error_ = errno;
        continue;
      }
      bytes += n;
      size -= static_cast<std::size_t>(n);
    }
  }
  int error() const { return error_; }

 private:
  int fd_;
  int error_ = 0;
};

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
  std::error_code ec;
  if (fs::is_directory(fs::u8path(path), ec)) throw Failure(path, "is a folder");
  const fs::path target = fs::u8path(path);
  std::string pattern =
      (target.parent_path() / ("." + target.filename().u8string() + ".tarn-XXXXXX")).u8string();
  fd_ = ::mkstemp(pattern.data());
  if (fd_ < 0) throw Failure(path, "cannot be written: " + std::string(std::strerror(errno)));
  temporary_ = pattern;
  // mkstemp makes the file private; the document gets the modes any new file gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::write(const pugi::xml_document& document) {
  DescriptorWriter writer(fd_);
  document.save(writer, kIndent, pugi::format_default, pugi::encoding_utf8);
  finish(writer.error());
}

void OutputFile::write(const std::string& text) {
  DescriptorWriter writer(fd_);
  writer.write(text.data(), text.size());
  finish(writer.error());
}

void OutputFile::finish(int error) {
  if (error == 0 && ::fsync(fd_) != 0) error = errno;
  if (::close(fd_) != 0 && error == 0) error = errno;
  fd_ = -1;
  if (error == 0 && std::rename(temporary_.c_str(), path_.c_str()) != 0) error = errno;
  if (error != 0) throw Failure(path_, "cannot be written: " + std::string(std::strerror(error)));
  temporary_.clear();
}

}  // namespace tarn

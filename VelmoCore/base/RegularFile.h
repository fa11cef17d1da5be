// Reading a file that someone else named: only a regular file is read (a folder, a pipe, a device
// or a socket is refused at once, without blocking), and never more of it than the caller allows,
// so a link to /dev/zero or a FIFO cannot exhaust memory or hang the reader.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace velmo {

// Why a file could not be read, in words ("No such file or directory", "not a regular file");
// the caller names the file.
struct FileAccessError : std::runtime_error {
    explicit FileAccessError(const std::string& reason) : std::runtime_error(reason) {}
};

// One reader at a time.
class RegularFile {
public:
    // Opens `path` for reading (links followed). Throws FileAccessError when it cannot be opened
    // or is not a regular file.
    explicit RegularFile(const std::filesystem::path& path);
    ~RegularFile();
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    // The size when it was opened, in bytes.
    std::uint64_t size() const { return size_; }

    // Up to `limit` bytes from the start; fewer when the file ends first. Throws FileAccessError
    // on a read error.
    std::string read(std::size_t limit);

private:
    int fd_ = -1;
    std::uint64_t size_ = 0;
};

} // namespace velmo

#include "base/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace velmo {

RegularFile::RegularFile(const std::filesystem::path& path) {
    // Non-blocking, or opening a FIFO would wait for a writer that may never come.
    fd_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd_ < 0) throw FileAccessError(std::strerror(errno));
    struct stat info {};
    if (::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd_);
        throw FileAccessError(S_ISDIR(info.st_mode) ? "it is a folder" : "not a regular file");
    }
    size_ = static_cast<std::uint64_t>(info.st_size);
}

RegularFile::~RegularFile() { ::close(fd_); }

std::string RegularFile::read(std::size_t limit) {
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(size_, limit)), '\0');
    std::size_t have = 0;
    // The file may have grown or shrunk since it was opened: read to its end or to the limit.
    for (;;) {
        if (have == bytes.size()) {
            if (have >= limit) break;
            bytes.resize(std::min(limit, have + 65536));
        }
        const ssize_t n = ::pread(fd_, bytes.data() + have, bytes.size() - have, static_cast<off_t>(have));
        if (n < 0) {
            if (errno == EINTR) continue;
            throw FileAccessError(std::strerror(errno));
        }
        if (n == 0) break;
        have += static_cast<std::size_t>(n);
    }
    bytes.resize(have);
    return bytes;
}

} // namespace velmo

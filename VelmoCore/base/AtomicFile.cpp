#include "base/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

namespace velmo {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMarker = ".velmo-tmp-";
constexpr std::size_t kRandomPart = 6;  // mkstemp's XXXXXX
constexpr int kMaxLinks = 40;           // as the kernel allows, before ELOOP
constexpr mode_t kNewFileMode = 0644;
// A temporary younger than this may belong to a writer that has made it and not yet locked it.
constexpr auto kStaleAge = std::chrono::seconds(5);

fs::path folderOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

bool isTemporaryName(std::string_view name) {
    if (name.size() < 1 + kMarker.size() + kRandomPart || name.front() != '.') return false;
    return name.substr(name.size() - kRandomPart - kMarker.size(), kMarker.size()) == kMarker;
}

} // namespace

AtomicFile::AtomicFile(const fs::path& target) : target_(target), destination_(target) {
    // Links are followed by hand, so that a dangling one still names the file it would create.
    for (int hops = 0;; ++hops) {
        std::error_code error;
        if (!fs::is_symlink(destination_, error)) break;
        if (hops == kMaxLinks) fail(ELOOP);
        const fs::path next = fs::read_symlink(destination_, error);
        if (error) fail(error.value());
        destination_ = next.is_absolute() ? next : folderOf(destination_) / next;
    }
    std::string pattern =
        (folderOf(destination_) / ("." + destination_.filename().string() + std::string(kMarker) + "XXXXXX")).string();
    fd_ = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd_ < 0) fail(errno);
    temporary_ = pattern;
    // Best effort: where the file system has no locks, only the age guards the file.
    ::flock(fd_, LOCK_EX | LOCK_NB);
}

AtomicFile::~AtomicFile() {
    if (fd_ >= 0) ::close(fd_);
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void AtomicFile::fail(int error) const {
    throw std::system_error(error, std::generic_category(), "Could not write '" + target_.string() + "'");
}

void AtomicFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd_, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void AtomicFile::writeAt(std::uint64_t offset, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
        offset += static_cast<std::uint64_t>(n);
    }
}

void AtomicFile::commit() {
    struct stat replaced {};
    const mode_t mode = ::stat(destination_.c_str(), &replaced) == 0 ? (replaced.st_mode & 07777) : kNewFileMode;
    if (::fchmod(fd_, mode) != 0 || ::fsync(fd_) != 0) fail(errno);
    // Renamed while still locked, so no sweep in between can take the file for a stale one.
    if (::rename(temporary_.c_str(), destination_.c_str()) != 0) fail(errno);
    temporary_.clear();
    ::close(fd_);
    fd_ = -1;
    sweepStaleTemporaries();
}

void AtomicFile::sweepStaleTemporaries() const {
    const fs::path folder = folderOf(destination_);
    const auto now = fs::file_time_type::clock::now();
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const fs::path path = it->path();
        std::error_code ignored;
        if (!isTemporaryName(path.filename().string()) || !fs::is_regular_file(it->symlink_status(ignored))) continue;
        if (now - fs::last_write_time(path, ignored) < kStaleAge || ignored) continue;
        const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) continue;
        // A live writer holds its lock; only a killed one's file is free.
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) ::unlink(path.c_str());
        ::close(fd);
    }
}

} // namespace velmo

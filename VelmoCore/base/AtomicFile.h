// Replacing a file so that nothing is ever half-written: the bytes go to a temporary file beside
// the target, which a rename puts in its place. A reader, a crash or a full disk sees the old file
// or the new one. The new file keeps the old one's permission bits, and a target that is a
// symbolic link has the file it points to replaced, the link staying as it was.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace velmo {

// The temporary files are named "." + the target's name + ".velmo-tmp-" + six characters.
// A writer holds a lock on its temporary file for as long as it lives, so a temporary that is
// not locked was left by a writer that was killed.
//
// One thread at a time (whoever writes the file).
class AtomicFile {
public:
    // Creates the temporary file. Throws std::system_error naming `target` when it cannot.
    explicit AtomicFile(const std::filesystem::path& target);
    // Without a commit the temporary file is removed and the target stays as it was.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // The file that a commit replaces: the target with its links followed.
    const std::filesystem::path& destination() const { return destination_; }

    // Appends all of `bytes`, or writes them at `offset`. Throw std::system_error naming the
    // target on failure.
    void write(std::string_view bytes);
    void writeAt(std::uint64_t offset, std::string_view bytes);

    // Flushes to disk, gives the file the replaced file's permission bits (0644 for a new one)
    // and renames it over the destination. Then removes, from the same folder, the temporaries
    // that killed writers left behind. Throws std::system_error naming the target on failure;
    // the target is then as it was.
    void commit();

private:
    [[noreturn]] void fail(int error) const;
    void sweepStaleTemporaries() const;

    std::filesystem::path target_;
    std::filesystem::path destination_;
    std::filesystem::path temporary_;
    int fd_ = -1;
};

} // namespace velmo

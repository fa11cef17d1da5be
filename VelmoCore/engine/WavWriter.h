// Writes 24-bit little-endian stereo PCM WAV files: the canonical 44-byte header, then frames
// interleaved left-right from two float channel buffers. The two size fields are written as 0
// and patched on `close`, so a file abandoned after a write failure keeps what reached disk.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace velmo {

// One thread at a time (the offline render that owns it).
class WavWriter {
public:
    static constexpr std::uint32_t headerBytes = 44;
    static constexpr std::uint32_t bytesPerFrame = 6; // two channels of three bytes

    // Opens (creating or truncating) `path` and writes the header. Throws std::system_error
    // naming the path and the system's reason when the file cannot be opened or written.
    WavWriter(const std::filesystem::path& path, std::uint32_t sampleRate);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Appends `frames` frames. Samples are expected within -1 to 1; anything beyond is limited
    // to the 24-bit range, never wrapped. Throws std::system_error on a failed write.
    void write(const float* left, const float* right, std::size_t frames);

    // Patches the RIFF and data sizes and closes the file. Called by the destructor if not
    // before, where a failure is swallowed; call it directly to see the error.
    void close();

    std::uint64_t framesWritten() const { return frames_; }

    // x * 8388608 rounded to nearest, limited to -8388608 .. 8388607.
    static std::int32_t toPCM24(float x);

private:
    std::FILE* file_ = nullptr;
    std::filesystem::path path_;
    std::uint64_t frames_ = 0;
    std::vector<unsigned char> scratch_;
};

} // namespace velmo

// Writes 24-bit little-endian stereo PCM WAV files: the canonical 44-byte header, then frames
// interleaved left-right from two float channel buffers. The file is written beside its place
// and renamed into it on `close` (base/AtomicFile.h), so a render that fails or is abandoned
// leaves any earlier file at that path intact and no partial one.
#pragma once

#include "base/AtomicFile.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace velmo {

// One thread at a time (the offline render that owns it).
class WavWriter {
public:
    static constexpr std::uint32_t headerBytes = 44;
    static constexpr std::uint32_t bytesPerFrame = 6; // two channels of three bytes

    // Starts the file that will replace `path` and writes the header. Throws std::system_error
    // naming the path and the system's reason when the file cannot be made or written.
    WavWriter(const std::filesystem::path& path, std::uint32_t sampleRate);
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Appends `frames` frames. Samples are expected within -1 to 1; anything beyond is limited
    // to the 24-bit range, never wrapped. Throws std::system_error on a failed write.
    void write(const float* left, const float* right, std::size_t frames);

    // Patches the RIFF and data sizes and puts the file in its place. Throws std::system_error
    // on failure, leaving the path as it was. Without it, the destructor abandons the file.
    void close();

    std::uint64_t framesWritten() const { return frames_; }

    // x * 8388608 rounded to nearest, limited to -8388608 .. 8388607.
    static std::int32_t toPCM24(float x);

private:
    std::optional<AtomicFile> file_;
    std::filesystem::path path_;
    std::uint64_t frames_ = 0;
    std::vector<unsigned char> scratch_;
};

// Whether the file at `path` begins as a WAV file does ("RIFF" or "RF64", then "WAVE"); false
// when it cannot be read.
bool isWavFile(const std::filesystem::path& path);

} // namespace velmo

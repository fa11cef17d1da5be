#include "engine/WavWriter.h"

#include "base/RegularFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string>
#include <system_error>

namespace velmo {

namespace {

void put16(unsigned char* p, std::uint16_t v) {
    p[0] = static_cast<unsigned char>(v & 0xff);
    p[1] = static_cast<unsigned char>(v >> 8);
}

void put32(unsigned char* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>((v >> (8 * i)) & 0xff);
}

[[noreturn]] void fail(const std::filesystem::path& path, const char* what, int err) {
    throw std::system_error(err ? err : EIO, std::generic_category(),
                            std::string(what) + " '" + path.string() + "'");
}

std::string_view bytes(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// RIFF sizes are 32-bit; a file beyond 4 GiB keeps the largest size the field can say.
std::uint32_t clampSize(std::uint64_t v) {
    return v > 0xffffffffull ? 0xffffffffu : static_cast<std::uint32_t>(v);
}

} // namespace

std::int32_t WavWriter::toPCM24(float x) {
    double v = std::nearbyint(static_cast<double>(x) * 8388608.0);
    if (!(v > -8388608.0)) return -8388608; // also catches NaN
    if (v > 8388607.0) return 8388607;
    return static_cast<std::int32_t>(v);
}

WavWriter::WavWriter(const std::filesystem::path& path, std::uint32_t sampleRate) : path_(path) {
    file_.emplace(path);
    unsigned char h[headerBytes];
    std::copy_n("RIFF", 4, h);
    put32(h + 4, 36);
    std::copy_n("WAVE", 4, h + 8);
    std::copy_n("fmt ", 4, h + 12);
    put32(h + 16, 16);
    put16(h + 20, 1); // integer PCM
    put16(h + 22, 2); // channels
    put32(h + 24, sampleRate);
    put32(h + 28, sampleRate * bytesPerFrame);
    put16(h + 32, bytesPerFrame);
    put16(h + 34, 24);
    std::copy_n("data", 4, h + 36);
    put32(h + 40, 0);
    file_->write(bytes(h, headerBytes));
}

void WavWriter::write(const float* left, const float* right, std::size_t frames) {
    if (!file_) fail(path_, "Could not write to closed file", EBADF);
    scratch_.resize(frames * bytesPerFrame);
    unsigned char* p = scratch_.data();
    for (std::size_t i = 0; i < frames; ++i) {
        for (std::int32_t s : {toPCM24(left[i]), toPCM24(right[i])}) {
            auto u = static_cast<std::uint32_t>(s);
            p[0] = static_cast<unsigned char>(u & 0xff);
            p[1] = static_cast<unsigned char>((u >> 8) & 0xff);
            p[2] = static_cast<unsigned char>((u >> 16) & 0xff);
            p += 3;
        }
    }
    file_->write(bytes(scratch_.data(), scratch_.size()));
    frames_ += frames;
}

void WavWriter::close() {
    if (!file_) return;
    const std::uint64_t dataBytes = frames_ * bytesPerFrame;
    unsigned char riff[4], data[4];
    put32(riff, clampSize(36 + dataBytes));
    put32(data, clampSize(dataBytes));
    file_->writeAt(4, bytes(riff, 4));
    file_->writeAt(40, bytes(data, 4));
    file_->commit();
    file_.reset();
}

bool isWavFile(const std::filesystem::path& path) {
    try {
        const std::string head = RegularFile(path).read(12);
        return head.size() == 12 && (head.starts_with("RIFF") || head.starts_with("RF64")) && head.ends_with("WAVE");
    } catch (const FileAccessError&) {
        return false;
    }
}

} // namespace velmo

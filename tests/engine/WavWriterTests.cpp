// The WAV writer against libsndfile, an independent reader, and against the byte layout itself.
#include "engine/WavWriter.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace velmo {
namespace {

std::filesystem::path tempPath(const std::string& name) {
    return std::filesystem::temp_directory_path() / ("velmo-wav-" + std::to_string(::getpid()) + "-" + name);
}

std::vector<unsigned char> readBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::uint32_t le32(const std::vector<unsigned char>& b, std::size_t at) {
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (std::uint32_t(b[at + 3]) << 24);
}
std::uint16_t le16(const std::vector<unsigned char>& b, std::size_t at) { return std::uint16_t(b[at] | (b[at + 1] << 8)); }

TEST(WavWriter, WritesCanonicalHeaderAndSamplesThatLibsndfileReadsBack) {
    const std::vector<float> left{0.0f, 0.5f, -0.5f, 1.0f, -1.0f, 1.5f, -3.0f, 1e-7f, 0.25f};
    const std::vector<float> right{0.1f, -0.1f, 0.999f, -0.999f, 0.0f, 0.75f, 2.0f, -1e-7f, -0.25f};
    const std::size_t frames = left.size();
    auto path = tempPath("samples.wav");
    {
        WavWriter writer(path, 44100);
        writer.write(left.data(), right.data(), 4);
        writer.write(left.data() + 4, right.data() + 4, frames - 4); // two writes make one stream
        writer.close();
    }

    auto bytes = readBytes(path);
    ASSERT_EQ(bytes.size(), 44 + 6 * frames);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RIFF");
    EXPECT_EQ(le32(bytes, 4), 36 + 6 * frames);
    EXPECT_EQ(std::string(bytes.begin() + 8, bytes.begin() + 16), "WAVEfmt ");
    EXPECT_EQ(le32(bytes, 16), 16u);
    EXPECT_EQ(le16(bytes, 20), 1u) << "integer PCM";
    EXPECT_EQ(le16(bytes, 22), 2u) << "channels";
    EXPECT_EQ(le32(bytes, 24), 44100u);
    EXPECT_EQ(le32(bytes, 28), 44100u * 6);
    EXPECT_EQ(le16(bytes, 32), 6u);
    EXPECT_EQ(le16(bytes, 34), 24u);
    EXPECT_EQ(std::string(bytes.begin() + 36, bytes.begin() + 40), "data");
    EXPECT_EQ(le32(bytes, 40), 6 * frames);
    // Frame 1 left is 0.5: 0x400000, least significant byte first.
    EXPECT_EQ(bytes[44 + 6], 0x00);
    EXPECT_EQ(bytes[44 + 7], 0x00);
    EXPECT_EQ(bytes[44 + 8], 0x40);

    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(info.samplerate, 44100);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.frames, static_cast<sf_count_t>(frames));
    std::vector<int> read(frames * 2);
    ASSERT_EQ(sf_readf_int(sf, read.data(), static_cast<sf_count_t>(frames)), static_cast<sf_count_t>(frames));
    sf_close(sf);
    for (std::size_t i = 0; i < frames; ++i) {
        // libsndfile widens 24-bit samples to the top of an int.
        EXPECT_EQ(read[2 * i] / 256, WavWriter::toPCM24(left[i])) << "left frame " << i;
        EXPECT_EQ(read[2 * i + 1] / 256, WavWriter::toPCM24(right[i])) << "right frame " << i;
    }
    std::filesystem::remove(path);
}

TEST(WavWriter, ConvertsToTwentyFourBitsWithinRange) {
    EXPECT_EQ(WavWriter::toPCM24(0.0f), 0);
    EXPECT_EQ(WavWriter::toPCM24(0.5f), 4194304);
    EXPECT_EQ(WavWriter::toPCM24(-1.0f), -8388608);
    EXPECT_EQ(WavWriter::toPCM24(1.0f), 8388607) << "full scale is limited, not wrapped";
    EXPECT_EQ(WavWriter::toPCM24(7.0f), 8388607);
    EXPECT_EQ(WavWriter::toPCM24(-7.0f), -8388608);
    EXPECT_EQ(WavWriter::toPCM24(std::numeric_limits<float>::quiet_NaN()), -8388608) << "NaN must not be UB";
}

TEST(WavWriter, EmptyFileIsValidAndUnopenablePathThrowsNamingIt) {
    auto path = tempPath("empty.wav");
    { WavWriter writer(path, 48000); } // the destructor closes and patches
    EXPECT_EQ(std::filesystem::file_size(path), 44u);
    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.frames, 0);
    EXPECT_EQ(info.samplerate, 48000);
    sf_close(sf);
    std::filesystem::remove(path);

    auto bad = tempPath("no-such-dir") / "x.wav";
    try {
        WavWriter writer(bad, 48000);
        FAIL() << "opening inside a missing directory must throw";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find(bad.string()), std::string::npos) << e.what();
    }
}

} // namespace
} // namespace velmo

#include "engine/OfflineRenderer.h"

#include "base/UserError.h"
#include "engine/CompiledProject.h"
#include "engine/EngineCore.h"
#include "engine/WavWriter.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

namespace velmo {

OfflineRenderer::FrameSpan OfflineRenderer::frameSpan(double startBeat, double endBeat, double tail, double tempo,
                                                     double sampleRate) {
    // Written so that NaN lands on 0: every comparison with it is false.
    auto within = [](double seconds, double most) { return seconds > 0.0 ? std::min(seconds, most) : 0.0; };
    const double music = within((endBeat - startBeat) * 60.0 / tempo, maxSeconds);
    const double after = within(tail, maxSeconds - music);
    return {static_cast<std::int64_t>(sampleRate * music), static_cast<std::int64_t>(sampleRate * after)};
}

MixAnalysis OfflineRenderer::render(const Project& project, double startBeat, double endBeat, double tail,
                                    double sampleRate, const std::optional<std::filesystem::path>& path) {
    // A render is always linear and plays every track itself: no hub, no loop.
    CompiledProject compiled(project, nullptr);
    compiled.loopEnabled = false;
    const double tempo = compiled.tempo;

    EngineCore core(sampleRate);
    core.handle(EngineCommand::load(std::move(compiled)));
    core.handle(EngineCommand::seek(startBeat));
    core.handle(EngineCommand::play());
    core.resetAnalysis();

    const auto [musicFrames, tailFrames] = frameSpan(startBeat, endBeat, tail, tempo, sampleRate);
    const std::int64_t totalFrames = musicFrames + tailFrames;

    std::optional<WavWriter> file;
    if (path) file.emplace(*path, static_cast<std::uint32_t>(sampleRate));

    std::vector<float> left, right;
    try {
        left.resize(chunkFrames);
        right.resize(chunkFrames);
    } catch (const std::bad_alloc&) {
        throw ParamError("Could not allocate render buffer.");
    }

    bool tailStarted = false;
    for (std::int64_t frame = 0; frame < totalFrames;) {
        std::int64_t n = std::min<std::int64_t>(totalFrames - frame, chunkFrames);
        if (!tailStarted && frame + n >= musicFrames) {
            // Cut the chunk at the music's end so the note-offs land there, to the block.
            n = musicFrames - frame;
            if (n <= 0) {
                core.handle(EngineCommand::stop());
                tailStarted = true;
                continue;
            }
        }
        core.render(static_cast<int>(n), left.data(), right.data(), 0);
        if (file) file->write(left.data(), right.data(), static_cast<std::size_t>(n));
        frame += n;
    }
    if (file) file->close();
    return core.analysisResult();
}

} // namespace velmo

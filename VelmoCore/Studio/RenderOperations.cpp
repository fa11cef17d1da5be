#include "Studio/MainQueue.h"
#include "Studio/Studio.h"
#include "engine/OfflineRenderer.h"
#include "engine/WavWriter.h"

#include <algorithm>
#include <thread>

namespace velmo {

namespace {

constexpr double analysisSampleRate = 44100;
constexpr double analysisTailSeconds = 0.5;  // enough for releases; reverb tails belong to exports
constexpr double exportSampleRate = 48000;

} // namespace

void Studio::audition(const std::string& track, std::vector<EngineCommand::AuditionNote> notes) {
    postToEngine(EngineCommand::audition(track, std::move(notes)));
}

void Studio::analyze(double startBeat, std::optional<double> endBeat, MainQueue& mainQueue, RenderCompletion done) {
    render(startBeat, endBeat, analysisTailSeconds, analysisSampleRate, std::nullopt, mainQueue, std::move(done));
}

void Studio::exportAudio(const std::filesystem::path& to, double startBeat, std::optional<double> endBeat,
                         double tail, MainQueue& mainQueue, RenderCompletion done) {
    refuseForeignFile(to, "a WAV file", &isWavFile);
    render(startBeat, endBeat, tail, exportSampleRate, to, mainQueue, std::move(done));
}

void Studio::render(double startBeat, std::optional<double> endBeat, double tail, double sampleRate,
                    std::optional<std::filesystem::path> to, MainQueue& mainQueue, RenderCompletion done) {
    // The snapshot: lists share their storage with the project, so this copy is cheap, and
    // later edits replace the project's lists rather than changing these.
    Project snapshot = project_;
    const double end = endBeat.value_or(snapshot.renderEnd());
    const double start = std::max(startBeat, 0.0);  // the engine's playhead never goes below 0

    // Everything the thread needs, owned by it; it never touches this Studio except `renders_`.
    auto task = [snapshot = std::move(snapshot), start, end, tail, sampleRate, to = std::move(to), &mainQueue,
                 done, gate = &renders_]() mutable {
        RenderOutcome outcome;
        try {
            outcome = OfflineRenderer::render(snapshot, start, end, tail, sampleRate, to);
        } catch (...) {
            outcome = std::current_exception();
        }
        mainQueue.post([done = std::move(done), outcome = std::move(outcome)]() mutable { done(std::move(outcome)); });
        gate->finished();
    };

    renders_.started();
    try {
        std::thread(std::move(task)).detach();
    } catch (...) {
        // No thread to be had: the caller still hears back, from the main queue as always.
        renders_.finished();
        mainQueue.post([done = std::move(done), failure = std::current_exception()] { done(failure); });
    }
}

} // namespace velmo

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
    analyze(project_, startBeat, endBeat, mainQueue, std::move(done));
}

void Studio::analyze(Project snapshot, double startBeat, std::optional<double> endBeat, MainQueue& mainQueue,
                     RenderCompletion done) {
    render(std::move(snapshot), startBeat, endBeat, analysisTailSeconds, analysisSampleRate, std::nullopt, mainQueue,
           std::move(done));
}

void Studio::exportAudio(const std::filesystem::path& to, double startBeat, std::optional<double> endBeat,
                         double tail, MainQueue& mainQueue, RenderCompletion done) {
    refuseForeignFile(to, "a WAV file", &isWavFile);
    render(project_, startBeat, endBeat, tail, exportSampleRate, to, mainQueue, std::move(done));
}

// `snapshot` is a copy whose lists share their storage with the song, so it is cheap, and later
// edits replace the song's lists rather than changing these.
void Studio::render(Project snapshot, double startBeat, std::optional<double> endBeat, double tail, double sampleRate,
                    std::optional<std::filesystem::path> to, MainQueue& mainQueue, RenderCompletion done) {
    const double end = endBeat.value_or(snapshot.renderEnd());
    const double start = std::max(startBeat, 0.0);  // the engine's playhead never goes below 0
    inBackground<MixAnalysis>(
        [snapshot = std::move(snapshot), start, end, tail, sampleRate, to = std::move(to)] {
            return OfflineRenderer::render(snapshot, start, end, tail, sampleRate, to);
        },
        mainQueue, std::move(done));
}

void Studio::describeSound(std::size_t track, int pitch, double velocity, double holdSeconds, bool withEffects,
                           MainQueue& mainQueue, PortraitCompletion done) {
    VELMO_PRECONDITION(track < project_.tracks.size(), "describeSound");
    inBackground<SoundPortrait>(
        [track = project_.tracks[track], pitch, velocity, holdSeconds, withEffects, tempo = project_.tempo] {
            return portraitOf(track, pitch, velocity, holdSeconds, withEffects, tempo, analysisSampleRate);
        },
        mainQueue, std::move(done));
}

template <class Value>
void Studio::inBackground(std::function<Value()> job, MainQueue& mainQueue,
                          std::function<void(std::variant<Value, std::exception_ptr>)> done) {
    // Everything the thread needs, owned by it; it never touches this Studio except `renders_`.
    auto task = [job = std::move(job), &mainQueue, done, gate = &renders_]() mutable {
        std::variant<Value, std::exception_ptr> outcome;
        try {
            outcome = job();
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

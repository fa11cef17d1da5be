// The single owner of the song. Every change to the Project, from an agent's tool call or a
// gesture in the window, passes through `mutate`: the change test, undo, coalescing of drags,
// selection repair and the hand-over to the audio core all happen there and nowhere else.
//
// Main queue only. Operations run to the end without yielding, so a tool handler's edits are
// atomic with respect to gestures.
#pragma once

#include "Studio/ActivityEntry.h"
#include "Studio/BackgroundTasks.h"
#include "Studio/LiveState.h"
#include "base/Precondition.h"
#include "base/UserError.h"
#include "engine/AudioHost.h"
#include "engine/EngineCore.h"
#include "engine/MixAnalysis.h"
#include "engine/SoundPortrait.h"
#include "midi/MIDIHub.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace velmo {

class MainQueue;

class Studio {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    // How a background render ends: its measurement, or the failure it met.
    using RenderOutcome = std::variant<MixAnalysis, std::exception_ptr>;
    using RenderCompletion = std::function<void(RenderOutcome)>;
    using PortraitOutcome = std::variant<SoundPortrait, std::exception_ptr>;
    using PortraitCompletion = std::function<void(PortraitOutcome)>;

    static constexpr std::size_t undoLimit = 300;
    // The shortest a clip or the loop may be, in beats.
    static constexpr double shortestSpan = 0.25;
    static constexpr std::size_t activityLimit = 500;
    // Edits with one coalesce key join one undo step while each follows the previous one by
    // strictly less than this.
    static constexpr std::chrono::milliseconds coalesceWindow{1500};

    // Without an audio host the engine core runs at this rate.
    static constexpr double headlessSampleRate = 48000;
    // How often the status poll copies the engine's snapshot into `live`.
    static constexpr std::chrono::milliseconds statusPeriod{33};

    // Selects the first track and the first clip of that track, then compiles the project into
    // an engine core of its own at 48 kHz. No host and no timers: nothing renders that core but
    // the caller, so what the Studio sends waits in its queue until the caller renders it (as a
    // test does, standing in for the audio thread). `clock` times coalescing; tests inject their
    // own.
    explicit Studio(Project project, Clock clock = &std::chrono::steady_clock::now);
    // A Studio that plays: `host` renders the core on the output device, or on its clock thread
    // while there is none. The status poll and the device restart run as timers on `mainQueue`.
    Studio(Project project, std::unique_ptr<AudioHost> host, MainQueue& mainQueue,
           Clock clock = &std::chrono::steady_clock::now);
    ~Studio();
    // Callbacks of the MIDI hub refer to this Studio: it stays where it was made.
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    const Project& project() const { return project_; }
    const std::optional<std::string>& selectedTrackID() const { return selectedTrackID_; }
    const std::optional<std::string>& selectedClipID() const { return selectedClipID_; }
    const std::optional<std::filesystem::path>& fileURL() const { return fileURL_; }
    const std::deque<ActivityEntry>& activity() const { return activity_; }
    bool canUndo() const { return canUndo_; }
    bool canRedo() const { return canRedo_; }

    // The generic edit. `body` gets a working copy of the project and may throw (nothing then
    // changes) or return a value, which is passed back. An edit that changes nothing leaves no
    // undo step. Edits with the same `coalesce` key in quick succession form one undo step.
    template <class Body>
    auto mutate(std::optional<std::string> coalesce, Body&& body) -> std::invoke_result_t<Body&, Project&> {
        Project working = project_;
        if constexpr (std::is_void_v<std::invoke_result_t<Body&, Project&>>) {
            body(working);
            commit(std::move(working), std::move(coalesce));
        } else {
            auto result = body(working);
            commit(std::move(working), std::move(coalesce));
            return result;
        }
    }

    template <class Body>
    auto mutate(Body&& body) {
        return mutate(std::nullopt, std::forward<Body>(body));
    }

    void undo();
    void redo();
    // The song as it was `stepsBack` undo steps ago (1: before the last edit), or nothing when the
    // history holds fewer steps. Reading it changes neither the song nor the history.
    const Project* earlierState(std::size_t stepsBack) const;
    std::size_t undoDepth() const { return undoStack_.size(); }

    // While one lives, every edit joins the first into one undo step: a tool call that grows a
    // clip and then writes notes into it, or moves a track and then sets its fader, is undone
    // whole. Scopes nest; the outermost one counts. An undo or redo inside starts a new step.
    class OneStep {
    public:
        explicit OneStep(Studio& studio) : studio_(studio) { ++studio_.stepDepth_; }
        ~OneStep() {
            if (--studio_.stepDepth_ == 0) studio_.stepTaken_ = false;
        }
        OneStep(const OneStep&) = delete;
        OneStep& operator=(const OneStep&) = delete;

    private:
        Studio& studio_;
    };

    // Called on the main queue after a change to any field above: the song, the selection, the
    // file, the undo flags or the activity log (whoever listens tells them apart), never for
    // `live`, which is read at display rate instead. One listener: the window's adapter.
    std::function<void()> onChange;

    // Selects the track with that id, or none; the selected clip stays only if it is on it.
    void selectTrack(std::optional<std::string> id);
    // Selects the clip with that id and its track, or no clip. An id naming nothing is a
    // programming fault: callers pass ids of what they show.
    void selectClip(std::optional<std::string> id);

    // Appends a row to the activity log, keeping the newest 500.
    void log(std::string tool, std::string detail, bool ok);

    // ---- Resolvers: what an agent typed, as a JSON value (null pointer: nothing given), becomes
    // an index, or a StudioError whose message lists the valid choices.

    // By id, then by lower-cased name, then by decimal index; a JSON number is an index.
    std::size_t trackIndex(const nlohmann::json* ref) const;
    // On a track's chain, or the master chain when `track` is nothing: by index, by id, then by kind.
    std::size_t effectIndex(std::optional<std::size_t> track, const nlohmann::json* ref) const;
    ClipLocation clipLocation(const nlohmann::json* ref) const;
    const Clip* clip(std::string_view id) const;

    // ---- Named edits. Each is one undo step and keeps the invariants: clips sorted by start,
    // notes by (start, pitch), no clip before 0 or shorter than a quarter beat, no clip or loop
    // marker past kFarthestBeat. Operations taking
    // an index require a valid one (a resolver's result).

    // A new track from a preset, an engine's first preset, or the default patch; selected and
    // returned by id. Throws StudioError for an unknown preset.
    std::string addTrack(std::optional<std::string> name, std::optional<EngineKind> engine,
                         std::optional<std::string> preset);
    template <class Body>
    void updateTrack(std::size_t index, std::optional<std::string> coalesce, Body&& body) {
        VELMO_PRECONDITION(index < project_.tracks.size(), "Studio.updateTrack");
        mutate(std::move(coalesce), [&](Project& p) { body(p.tracks.mut(index)); });
    }
    void moveTrack(std::size_t from, std::size_t to);
    void removeTrack(std::size_t index);
    void unmuteAll();
    void setMIDIOut(std::size_t index, std::optional<MIDIRoute> route);
    std::string duplicateTrack(std::size_t index);
    // Preset first (replacing the whole patch), then the engine alone, then parameter paths
    // (a JSON object of dotted path to value). Throws StudioError for an unknown preset and
    // ParamError for a bad path or value; nothing changes then.
    void setSynth(std::size_t index, std::optional<EngineKind> engine, std::optional<std::string> preset,
                  const nlohmann::json& params, std::optional<std::string> coalesce = std::nullopt);

    // A new slot of `kind` with its defaults merged with `params` (a JSON object of name to value),
    // inserted at `position` clamped to the chain, or at the end. Returns its id. Throws
    // ParamError for an unknown parameter or a value that is no number.
    std::string addEffect(std::optional<std::size_t> track, EffectKind kind, const nlohmann::json& params,
                          std::optional<long long> position);
    void updateEffect(std::optional<std::size_t> track, std::size_t index, const nlohmann::json& params,
                      std::optional<bool> enabled, std::optional<std::string> coalesce = std::nullopt);
    void removeEffect(std::optional<std::size_t> track, std::size_t index);
    // Swaps the slot with its neighbour `by` places away; nothing (and no undo step) past the ends.
    void moveEffect(std::optional<std::size_t> track, std::size_t index, int by);

    // `start` defaults to the end of the track's last clip, `length` to four bars.
    std::string addClip(std::size_t track, std::optional<double> start, std::optional<double> length,
                        std::optional<std::string> name, std::vector<Note> notes);
    template <class Body>
    void updateClip(std::string_view id, std::optional<std::string> coalesce, Body&& body) {
        const ClipLocation at = clipLocationOf(id);
        mutate(std::move(coalesce), [&](Project& p) {
            Track& track = p.tracks.mut(at.track);
            body(track.clips.mut(at.clip));
            normaliseClip(track.clips.mut(at.clip));
            sortClips(track);
        });
    }
    void moveClip(std::string_view id, double start, std::optional<std::size_t> toTrack,
                  std::optional<std::string> coalesce = std::nullopt);
    std::string duplicateClip(std::string_view id, std::optional<double> start, std::optional<std::size_t> toTrack);
    void removeClip(std::string_view id);
    // `body(notes, clipLength)` edits the clip's notes in place; they are sorted afterwards. The
    // clip's length is left alone.
    template <class Body>
    void editNotes(std::string_view id, std::optional<std::string> coalesce, Body&& body) {
        const ClipLocation at = clipLocationOf(id);
        const NoteList before = project_.tracks[at.track].clips[at.clip].notes;
        mutate(std::move(coalesce), [&](Project& p) {
            Clip& clip = p.tracks.mut(at.track).clips.mut(at.clip);
            body(clip.notes, clip.length);
            sortNotes(clip.notes, &before);
        });
    }
    // Each part only if given; the end stays at least a quarter beat past the start, both within
    // kFarthestBeat.
    void setLoop(std::optional<bool> enabled, std::optional<double> start, std::optional<double> end);

    // Plays `notes` on the track with id `track` now, even while stopped; offsets and durations
    // in seconds. Not an edit: no undo step, the project stays as it is.
    void audition(const std::string& track, std::vector<EngineCommand::AuditionNote> notes);

    // By (start, pitch), stably. `inOrder`: an earlier version already sorted, which spares the
    // chunks still shared with it a look inside.
    static void sortNotes(NoteList& notes, const NoteList* inOrder = nullptr);
    // By start, stably.
    static void sortClips(Track& track);

    // ---- Engine link: transport and live notes. None of these changes the project or is
    // undoable; `live.isPlaying` and `live.beat` are set at once and corrected by the next poll.

    const LiveState& live() const { return live_; }
    EngineCore& core() { return *core_; }
    // The device host; nothing for a Studio built without one.
    const AudioHost* host() const { return host_.get(); }

    // `track` is a track id. Posts the note and records the pitch in `live.heldPitches`; a
    // note-off leaves the (possibly empty) set in place.
    void noteOn(const std::string& track, int pitch, double velocity);
    void noteOff(const std::string& track, int pitch);
    // A note-off for every held pitch, then forgets them all.
    void releaseLiveNotes();
    void panic();
    // Seeks first when `from` is given.
    void play(std::optional<double> from = std::nullopt);
    void stop(); // the playhead stays where it is
    void togglePlay();
    void seek(double beat);
    // To the loop start when the loop is on, else to 0.
    void returnToStart();
    bool anyMutedOrSoloed() const;

    // Copies the engine's status snapshot into `live` and frees what the audio thread let go.
    // The status timer calls it thirty times a second when a host renders.
    void poll();

    // Creates the MIDI hub on `platform` and attaches its writer to the engine, unless a hub is
    // already there. `postToMain` runs a closure later on the main queue. Returns false, and the
    // Studio lives on without MIDI, when the platform gives no client.
    bool startMIDI(std::shared_ptr<MIDIPlatform> platform, MainQueuePost postToMain);
    const MIDIHub* midiHub() const { return midiHub_.get(); }
    const std::vector<MIDIDestination>& midiDestinations() const { return midiDestinations_; }
    const std::vector<std::string>& midiInputs() const { return midiInputs_; }

    // ---- Files. The Studio has no default locations: callers choose them.

    // Writes the project file atomically (base/AtomicFile.h), so a failed save leaves any earlier
    // file intact. An existing file is replaced only when it is a project file: anything else
    // fails with a StudioError naming it. A project still called "Untitled" or "Demo" takes the
    // file's name, in the file as in the window, as an undo step of its own.
    void save(const std::filesystem::path& to);
    // Reads and decodes the file; on any failure the Studio is untouched. Clears undo and redo.
    // Returns what the reader should be told about the file (model/ProjectJSON.h), often nothing.
    std::vector<std::string> open(const std::filesystem::path& url);
    // An empty project, tempo clamped to kTempoRange (20...300 BPM). Clears undo and redo.
    void newProject(std::string name, double tempo);

    // ---- Offline renders. Each takes the project as it is now and renders it on a thread of its
    // own with a private engine core, so the transport plays on and edits go on meanwhile without
    // reaching the render. Several may run at once. `done` always runs later on `mainQueue`,
    // never before the call returns, with the measurement or with the renderer's failure
    // (std::system_error for the file, ParamError for the buffer). `startBeat` below 0 counts as
    // 0; `endBeat` defaults to the song end or, when the loop is on and lies later, the loop end.

    // At 44.1 kHz with half a second of tail, to no file.
    void analyze(double startBeat, std::optional<double> endBeat, MainQueue& mainQueue, RenderCompletion done);
    // The same for `snapshot` instead of the song as it is: an earlier state from the history, say.
    void analyze(Project snapshot, double startBeat, std::optional<double> endBeat, MainQueue& mainQueue,
                 RenderCompletion done);
    // A 24-bit 48 kHz stereo WAV file at `to`, with `tail` seconds after the end. An existing
    // file is replaced, when the render is complete, only if it is a WAV file: anything else
    // fails at once with a StudioError naming it. (`export` would be the name; C++ has the word.)
    void exportAudio(const std::filesystem::path& to, double startBeat, std::optional<double> endBeat, double tail,
                     MainQueue& mainQueue, RenderCompletion done);
    // One note of the track at `track` (a valid index), its patch as it is now, rendered alone on
    // a thread of its own at 44.1 kHz and described (see portraitOf). `done` runs later on
    // `mainQueue`. Not an edit: the song and its history stay as they are.
    void describeSound(std::size_t track, int pitch, double velocity, double holdSeconds, bool withEffects,
                       MainQueue& mainQueue, PortraitCompletion done);
    // Renders started and not yet delivered to the main queue.
    std::size_t rendersRunning() const { return renders_.running(); }

    // The song shown when Velmo starts without a project: four tracks (drums, bass, pad, bells)
    // looping over four bars at 112 BPM.
    static Project demoProject();

private:
    // The end of every edit, after its body ran on `working`: nothing if the project is
    // unchanged; otherwise the old project goes on the undo stack (unless the edit joins the
    // drag it continues), redo is cleared, and the selection and the engine follow.
    void commit(Project working, std::optional<std::string> coalesce);
    void step(std::deque<Project>& from, std::deque<Project>& to);
    void changed() {
        if (onChange) onChange();
    }
    // Whether an edit now would join the burst of `lastCoalesce`, had it the same key.
    bool burstOpen(std::chrono::steady_clock::time_point now) const {
        return lastCoalesce_ && now - lastCoalesce_->at < coalesceWindow;
    }
    // `after` (an edit made during an open burst) without the burst: each part the burst changed
    // between `beforeBurst` and `before`, and the edit left alone, goes back to `beforeBurst`.
    static Project withoutBurst(const Project& after, const Project& before, const Project& beforeBurst);
    void validateSelection();
    // The one road from the model to the audio thread: compiles the whole project and posts it.
    void sync();
    void postToEngine(EngineCommand command);
    void refreshMIDILists();
    void render(Project snapshot, double startBeat, std::optional<double> endBeat, double tail, double sampleRate,
                std::optional<std::filesystem::path> to, MainQueue& mainQueue, RenderCompletion done);
    // Runs `job` on a thread of its own and hands its value or failure to `done` on `mainQueue`;
    // the Studio outlives the thread (see `renders_`).
    template <class Value>
    void inBackground(std::function<Value()> job, MainQueue& mainQueue,
                      std::function<void(std::variant<Value, std::exception_ptr>)> done);

    // Throws a StudioError when `path` holds a file that `isKind` (described as `kind`) does not
    // recognise: an agent may name any path, and must not destroy a file that is not Velmo's.
    static void refuseForeignFile(const std::filesystem::path& path, const std::string& kind,
                                  bool (*isKind)(const std::filesystem::path&));
    // Selects the first track and the first clip of that track, each nothing if absent.
    void selectTopmost();
    ClipLocation clipLocationOf(std::string_view id) const;
    CowVector<EffectSlot>& chain(Project& p, std::optional<std::size_t> track) const;
    static void normaliseClip(Clip& clip);

    struct CoalesceMark {
        std::string key;
        std::chrono::steady_clock::time_point at;
    };

    Project project_;
    std::optional<std::string> selectedTrackID_;
    std::optional<std::string> selectedClipID_;
    std::optional<std::filesystem::path> fileURL_;
    std::deque<ActivityEntry> activity_;
    bool canUndo_ = false;
    bool canRedo_ = false;
    std::deque<Project> undoStack_;
    std::deque<Project> redoStack_;
    std::optional<CoalesceMark> lastCoalesce_;
    int stepDepth_ = 0;       // OneStep scopes open
    bool stepTaken_ = false;  // an edit of the open scope has made its undo step
    Clock clock_;

    LiveState live_;
    std::shared_ptr<const CompiledProject> compiled_;  // what the core was last given
    std::shared_ptr<EngineCore> core_;
    std::unique_ptr<AudioHost> host_; // stops its threads before the core can go
    std::shared_ptr<MIDIHub> midiHub_;
    std::vector<MIDIDestination> midiDestinations_;
    std::vector<std::string> midiInputs_;
    // Callbacks hold this weakly, so one that arrives after the Studio is gone does nothing.
    std::shared_ptr<Studio*> self_;
    // Last, so it is destroyed first: the destructor waits here for renders still running.
    BackgroundTasks renders_;
};

} // namespace velmo

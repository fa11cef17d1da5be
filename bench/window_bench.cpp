// The window's speed, in Qt's offscreen platform: painting the piano roll with 10,000 notes in
// view (target under 8 ms a frame), painting the transport bar as it runs at 60 Hz (under 2 ms),
// the main queue's latency while an agent makes 100 tool calls a second over HTTP and the person
// drags a note (p99 under 16 ms, so the window never stutters), switching the synth editor to
// another engine and showing it (under 50 ms), the arrangement with 64 tracks and 2,000 clips
// (under 8 ms a frame), and the agent panel while its log takes 50 entries a second (under 2 ms
// a frame). Painting is timed in the painting thread's own processor time, so other programs on a
// busy machine do not count; the queue's latency is wall-clock time.
#include "AppModel.h"
#include "QtMainQueue.h"
#include "agent/ActivityLog.h"
#include "agent/AgentPanel.h"
#include "arrangement/ArrangementLanes.h"
#include "arrangement/ArrangementView.h"
#include "pianoroll/PianoRollCanvas.h"
#include "pianoroll/PianoRollView.h"
#include "synthview/SynthEditorView.h"
#include "transport/TransportBar.h"
#include "app/Loopback.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QTest>


#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

using namespace velmo;
using Clock = std::chrono::steady_clock;

namespace {

double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

double threadMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// The processor time of each of `frames` calls of `paint(frame)`, in milliseconds.
template <class Paint>
std::vector<double> frameTimes(int frames, Paint paint) {
    std::vector<double> times;
    for (int i = 0; i < frames; ++i) {
        const double start = threadMs();
        paint(i);
        times.push_back(threadMs() - start);
    }
    return times;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1))];
}

// A song whose one clip holds 10,000 notes over 64 beats and pitches 36 to 99.
Project denseSong() {
    Project p("Dense", 120);
    Track t(p.makeId("t"), "Keys", 0, SynthPatch());
    std::vector<Note> notes;
    for (int i = 0; i < 10000; ++i)
        notes.push_back({36 + (i * 7) % 64, (i % 1600) * 0.04, 0.25, 0.3 + (i % 8) * 0.1});
    NoteList sorted(std::move(notes));
    Studio::sortNotes(sorted);
    t.clips.push_back(Clip{p.makeId("c"), "Dense", 0, 64, sorted});
    Track other(p.makeId("t"), "Bass", 1, SynthPatch());
    other.clips.push_back(Clip{p.makeId("c"), "Line", 0, 16, {}});
    p.tracks.push_back(t);
    p.tracks.push_back(other);
    return p;
}

// 64 tracks of 31 or 32 four-beat clips each, 2,000 clips in all, each with 16 notes.
Project crowdedSong() {
    Project p("Crowded", 120);
    for (int t = 0; t < 64; ++t) {
        Track track(p.makeId("t"), "Track " + std::to_string(t + 1), t % 8, SynthPatch());
        for (int c = 0; c * 64 + t < 2000; ++c) {
            std::vector<Note> notes;
            for (int n = 0; n < 16; ++n) notes.push_back({48 + (n * 5 + c) % 24, n * 0.25, 0.25, 0.4 + (n % 4) * 0.2});
            track.clips.push_back(Clip{p.makeId("c"), "Clip", c * 4.0, 4, NoteList(std::move(notes))});
        }
        p.tracks.push_back(track);
    }
    return p;
}

void paintArrangement(AppModel& model) {
    ArrangementView view(model);
    view.setZoom(22);
    view.resize(1280, 400);
    view.show();
    QCoreApplication::processEvents();
    QImage frame(view.size(), QImage::Format_ARGB32_Premultiplied);
    const auto window = frameTimes(120, [&](int) { view.render(&frame); });
    std::printf("| arrangement, 64 tracks and 2,000 clips, one window (%dx%d px) | %.2f ms | %.2f ms | 8 ms |\n",
                view.width(), view.height(), percentile(window, 0.5), percentile(window, 0.99));
    // Zoomed out until every clip is in view, and the whole of the lanes painted at once.
    view.setZoom(6);
    ArrangementLanes& lanes = view.lanes();
    QImage whole(lanes.size(), QImage::Format_ARGB32_Premultiplied);
    const auto all = frameTimes(30, [&](int) { lanes.render(&whole); });
    std::printf("| arrangement, all 2,000 clips at once (%dx%d px) | %.2f ms | %.2f ms | 8 ms |\n", lanes.width(),
                lanes.height(), percentile(all, 0.5), percentile(all, 0.99));
    view.setZoom(22);
}

// Counts the paint events its widget gets.
class PaintCounter final : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) ++paints;
        return false;
    }
};

void paintActivityLog(AppModel& model) {
    AgentPanel panel(model);
    panel.resize(1280, 430);
    panel.show();
    QCoreApplication::processEvents();
    ActivityLog& log = panel.log();
    PaintCounter rows;
    log.scroll().widget()->installEventFilter(&rows);
    Studio& studio = model.studio();
    // Ten seconds at 60 frames a second; an entry arrives in 50 of every 60 frames. A frame is
    // what the window does for it: the signal, the layout and the repaint of what changed, which
    // the offscreen platform paints into its backing store as a screen's would be. (Rendering the
    // log once more on top, as the other views are timed, would paint each frame twice.)
    const auto times = frameTimes(600, [&](int i) {
        if (i % 6 != 5) studio.log("add_notes", "clip c" + std::to_string(i) + ", 4 notes", i % 17 != 0);
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents();
    });
    std::printf("| activity log (%dx%d px), one 60 Hz frame while it takes 50 entries a second (%d repaints) | %.2f ms | "
                "%.2f ms | 2 ms |\n",
                log.width(), log.height(), rows.paints, percentile(times, 0.5), percentile(times, 0.99));
}

void paintPianoRoll(AppModel& model) {
    PianoRollView view(model);
    view.show();
    PianoRollCanvas& canvas = view.canvas();
    // 16 px a beat and 13 px a row: all 64 beats and all 88 rows, every note, in one frame.
    QWheelEvent zoomOut(QPointF(), QPointF(), QPoint(), QPoint(0, -120 * 10), Qt::NoButton, Qt::ControlModifier,
                        Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&view, &zoomOut);
    QImage frame(canvas.size(), QImage::Format_ARGB32_Premultiplied);
    const auto times = frameTimes(120, [&](int) { canvas.render(&frame); });
    std::printf("| piano roll, 10,000 notes in view (%dx%d px) | %.2f ms | %.2f ms | 8 ms |\n", canvas.width(),
                canvas.height(), percentile(times, 0.5), percentile(times, 0.99));
}

void paintTransportBar(AppModel& model) {
    TransportBar bar(model);
    bar.resize(1280, TransportBar::barHeight);
    bar.show();
    QImage frame(bar.size(), QImage::Format_ARGB32_Premultiplied);
    Studio& studio = model.studio();
    studio.play();
    std::vector<double> times;
    for (int i = 0; i < 600; ++i) {
        studio.seek(i / 60.0 * 2);  // two beats a second, as at 120 BPM
        QCoreApplication::processEvents();
        times.push_back(frameTimes(1, [&](int) { bar.render(&frame); })[0]);
    }
    studio.stop();
    std::printf("| transport bar, one 60 Hz frame | %.2f ms | %.2f ms | 2 ms |\n", percentile(times, 0.5),
                percentile(times, 0.99));
}

void switchSynthEngines(AppModel& model) {
    SynthEditorView view(model);
    view.resize(1280, 430);
    view.show();
    Studio& studio = model.studio();
    studio.selectTrack(studio.project().tracks[0].id);
    QCoreApplication::processEvents();
    PaintCounter paints;
    view.installEventFilter(&paints);
    std::vector<double> times, walls;
    for (int i = 1; i <= 70; ++i) {
        const auto start = Clock::now();
        const double cpuStart = threadMs();
        // The edit, the signal that rebuilds the panel for the new engine, the old panel's end,
        // and the first frame of the new one, which Qt paints into the offscreen backing store as
        // it would on a screen.
        studio.setSynth(0, static_cast<EngineKind>(i % 7), std::nullopt, nlohmann::json::object());
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        times.push_back(threadMs() - cpuStart);
        walls.push_back(ms(Clock::now() - start));
    }
    std::printf("| synth editor, switching to another engine and painting it (%d paints; wall clock p99 %.2f ms) | %.2f ms "
                "| %.2f ms | 50 ms |\n",
                paints.paints, percentile(walls, 0.99), percentile(times, 0.5), percentile(times, 0.99));
}

void mainQueueLatency(QtMainQueue& queue, AppModel& model) {
    while (!model.server().boundPort()) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    const std::uint16_t port = model.server().boundPort();
    PianoRollView view(model);
    view.resize(1000, 600);
    view.show();
    PianoRollCanvas& canvas = view.canvas();
    model.studio().selectClip("c2");
    QCoreApplication::processEvents();

    constexpr auto runFor = std::chrono::seconds(5);
    std::atomic<bool> running = true;
    std::atomic<int> calls = 0;
    // The agent: 100 tool calls a second, each rewriting the other clip's notes.
    std::thread agent([&] {
        auto next = Clock::now();
        for (int i = 0; running; ++i) {
            callTool(port, "add_notes",
                     R"({"clip":"c4","replace":true,"notes":[{"pitch":)" + std::to_string(36 + i % 24) +
                         R"(,"start":0,"duration":1}]})");
            ++calls;
            next += std::chrono::milliseconds(10);
            std::this_thread::sleep_until(next);
        }
    });
    // The probe: every 2 ms a task posted to the main queue notes how long it waited.
    std::mutex lock;
    std::vector<double> waits;
    std::thread probe([&] {
        while (running) {
            const auto posted = Clock::now();
            queue.post([&, posted] {
                std::lock_guard<std::mutex> hold(lock);
                waits.push_back(ms(Clock::now() - posted));
            });
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    // The person: a note dragged back and forth at 60 Hz, pressed anew every two seconds.
    const auto start = Clock::now();
    const QPoint from(40, (108 - 60) * 13 + 6);
    int frame = 0;
    while (Clock::now() - start < runFor) {
        if (frame % 120 == 0) {
            if (frame) QTest::mouseRelease(&canvas, Qt::LeftButton, {}, from);
            QTest::mousePress(&canvas, Qt::LeftButton, {}, from);
        }
        QTest::mouseMove(&canvas, from + QPoint((frame % 40) * 4, -(frame % 24)));
        ++frame;
        const auto until = start + std::chrono::microseconds(16667) * frame;
        while (Clock::now() < until) QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    QTest::mouseRelease(&canvas, Qt::LeftButton, {}, from);
    // The agent's last call and the probe's last task need the main queue to finish: keep serving
    // it while they end, or they wait for nothing and their wait counts.
    running = false;
    std::atomic<bool> ended = false;
    std::thread joiner([&] {
        agent.join();
        probe.join();
        ended = true;
    });
    while (!ended) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    joiner.join();
    QCoreApplication::processEvents();
    std::lock_guard<std::mutex> hold(lock);
    std::printf("| main-queue latency, %d tool calls in 5 s + a 60 Hz drag | %.2f ms | %.2f ms (max %.2f) | 16 ms |\n",
                calls.load(), percentile(waits, 0.5), percentile(waits, 0.99), percentile(waits, 1.0));
}

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QTemporaryDir settings;
    setenv("XDG_CONFIG_HOME", settings.path().toUtf8().constData(), 1);
    setenv("VELMO_MCP_PORT", "0", 1);
    QApplication app(argc, argv);
    QtMainQueue queue;
    AppModel model(queue, 0, denseSong());
    std::printf("| What | median | p99 | target |\n|---|---|---|---|\n");
    paintPianoRoll(model);
    paintTransportBar(model);
    switchSynthEngines(model);
    mainQueueLatency(queue, model);
    AppModel crowded(queue, 0, crowdedSong());
    paintArrangement(crowded);
    paintActivityLog(crowded);
    return 0;
}

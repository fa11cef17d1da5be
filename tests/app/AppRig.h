// A small song and an AppModel on it, with the agent server on a port the system picks: what
// the window's tests build on. t1 (analog) holds c2 with two notes, t3 holds the empty c4.
#pragma once

#include "AppModel.h"
#include "QtMainQueue.h"

#include <QTest>

namespace velmo {

inline Project rigSong() {
    Project p("Song", 120);
    Track lead(p.makeId("t"), "Lead", 0, SynthPatch());
    lead.clips.push_back(Clip{p.makeId("c"), "Riff", 0, 4, NoteList{{60, 0, 1, 0.8}, {64, 1, 1, 0.8}}});
    p.tracks.push_back(lead);
    Track bass(p.makeId("t"), "Bass", 1, SynthPatch());
    bass.clips.push_back(Clip{p.makeId("c"), "Line", 0, 4, {}});
    p.tracks.push_back(bass);
    return p;
}

struct AppRig {
    QtMainQueue queue;
    AppModel model{queue, 0, rigSong()};
    Studio& studio = model.studio();

    // Undo steps there are, found by undoing all and redoing them again.
    int undoDepth() {
        int n = 0;
        while (studio.canUndo()) studio.undo(), ++n;
        for (int i = 0; i < n; ++i) studio.redo();
        return n;
    }

    // Serves the event loop until `done` holds or five seconds pass.
    template <class Done>
    bool serveUntil(Done done) {
        return QTest::qWaitFor(done, 5000);
    }
};

} // namespace velmo

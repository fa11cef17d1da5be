#include "MainWindow.h"

#include "AppModel.h"
#include "Appearance.h"
#include "EditorPane.h"
#include "arrangement/ArrangementView.h"
#include "controls/Hairline.h"
#include "transport/TransportBar.h"

#include <QActionGroup>
#include <QMenuBar>
#include <QSplitter>
#include <QVBoxLayout>

namespace velmo {

namespace {

// The arrangement over the editor: minimum and ideal heights.
constexpr int arrangementMinimum = 200, arrangementIdeal = 320;
constexpr int editorMinimum = 280, editorIdeal = 430;

} // namespace

MainWindow::MainWindow(AppModel& model) : model_(model) {
    setWindowTitle("Velmo");
    setMinimumSize(minimumWidth, minimumHeight);
    resize(minimumWidth + 180, minimumHeight + 80);

    auto* arrangement = new ArrangementView(model_);
    arrangement->setMinimumHeight(arrangementMinimum);
    auto* editor = new EditorPane(model_);
    editor->setMinimumHeight(editorMinimum);
    auto* split = new QSplitter(Qt::Vertical);
    split->setChildrenCollapsible(false);
    split->setHandleWidth(1);
    split->addWidget(arrangement);
    split->addWidget(editor);
    split->setSizes({arrangementIdeal, editorIdeal});
    split->setStretchFactor(0, 0);
    split->setStretchFactor(1, 1);

    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new TransportBar(model_));
    column->addWidget(new Hairline);
    column->addWidget(split, 1);
    setCentralWidget(content);
    buildMenus();
}

void MainWindow::buildMenus() {
    Studio& studio = model_.studio();
    auto add = [this](QMenu* menu, const QString& title, const QKeySequence& shortcut, auto action) {
        QAction* item = menu->addAction(title);
        item->setShortcut(shortcut);
        connect(item, &QAction::triggered, this, action);
        return item;
    };
    auto ignoringFailure = [](auto action) {
        return [action] {
            try {
                action();
            } catch (const std::exception&) {
                // the menu item offers what may no longer apply; nothing to tell
            }
        };
    };

    QMenu* file = menuBar()->addMenu("&File");
    add(file, "New Project", QKeySequence("Ctrl+N"), [&studio] { studio.newProject("Untitled", 120); });
    add(file, "Open…", QKeySequence("Ctrl+O"), [this] { model_.openProject(this); });
    add(file, "Save", QKeySequence("Ctrl+S"), [this] { model_.saveProject(false, this); });
    add(file, "Save As…", QKeySequence("Ctrl+Shift+S"), [this] { model_.saveProject(true, this); });
    file->addSeparator();
    add(file, "Export Audio…", QKeySequence("Ctrl+E"), [this] { model_.exportAudio(this); });

    QMenu* edit = menuBar()->addMenu("&Edit");
    QAction* undo = add(edit, "Undo", QKeySequence("Ctrl+Z"), [&studio] { studio.undo(); });
    QAction* redo = add(edit, "Redo", QKeySequence("Ctrl+Shift+Z"), [&studio] { studio.redo(); });
    auto refresh = [undo, redo, &studio] {
        undo->setEnabled(studio.canUndo());
        redo->setEnabled(studio.canRedo());
    };
    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, refresh);
    refresh();

    QMenu* view = menuBar()->addMenu("&View");
    QMenu* appearance = view->addMenu("Appearance");
    auto* schemes = new QActionGroup(appearance);
    for (const auto& [title, value] : {std::pair{"System", "system"}, {"Light", "light"}, {"Dark", "dark"}}) {
        QAction* item = appearance->addAction(title);
        item->setCheckable(true);
        item->setChecked(Appearance::current() == value);
        schemes->addAction(item);
        connect(item, &QAction::triggered, this, [v = QString(value)] { Appearance::set(v); });
    }

    QMenu* transport = menuBar()->addMenu("&Transport");
    add(transport, "Play / Stop  (Space)", {}, [&studio] { studio.togglePlay(); });
    add(transport, "Return to Start  (Return)", {}, [&studio] { studio.returnToStart(); });
    add(transport, "Toggle Loop", QKeySequence("Ctrl+L"),
        [&studio] { studio.setLoop(!studio.project().loopEnabled, std::nullopt, std::nullopt); });
    transport->addSeparator();
    add(transport, "All Notes Off", QKeySequence("Ctrl+."), [&studio] { studio.panic(); });

    QMenu* track = menuBar()->addMenu("T&rack");
    add(track, "Add Track", QKeySequence("Ctrl+Shift+T"),
        ignoringFailure([&studio] { studio.addTrack(std::nullopt, std::nullopt, std::string("Init Saw")); }));
    add(track, "Unmute All", QKeySequence("Ctrl+Alt+U"), [&studio] { studio.unmuteAll(); });
    track->addSeparator();
    add(track, "Delete Selected Clip  (Delete)", {}, ignoringFailure([&studio] {
            if (auto clip = studio.selectedClipID()) studio.removeClip(*clip);
        }));
    add(track, "Duplicate Selected Clip", QKeySequence("Ctrl+D"), ignoringFailure([&studio] {
            if (auto clip = studio.selectedClipID()) studio.duplicateClip(*clip, std::nullopt, std::nullopt);
        }));
}

} // namespace velmo

#include "AppModel.h"

#include "KeyMonitor.h"
#include "Studio/MainQueue.h"
#include "controls/CText.h"
#include "midi/AlsaMIDIPlatform.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QTimer>
#include <QUrl>

#include <cstdlib>

namespace velmo {

namespace {

// The export message stays this long after an export ends.
constexpr int exportMessageMs = 4000;

QString defaultFolder() { return QDir::homePath() + "/Music/Velmo"; }

std::filesystem::path pathOf(const QString& file) { return std::filesystem::path(file.toStdString()); }

std::unique_ptr<Studio> makeStudio(Project project, std::unique_ptr<AudioHost> host, MainQueue& mainQueue) {
    if (!host) return std::make_unique<Studio>(std::move(project));
    return std::make_unique<Studio>(std::move(project), std::move(host), mainQueue);
}

} // namespace

AppModel::AppModel(MainQueue& mainQueue, std::uint16_t port, std::optional<Project> project,
                   std::unique_ptr<AudioHost> host)
    : mainQueue_(mainQueue), studio_(makeStudio(project ? std::move(*project) : Studio::demoProject(), std::move(host), mainQueue)),
      dispatcher_(*studio_, mainQueue_), server_(port, dispatcher_) {
    signals_ = std::make_unique<StudioSignals>(*studio_);
    typing_.onChange = [this] { Q_EMIT typingChanged(); };
    // MIDI belongs with sound: a Studio that plays hears controllers and plays external gear.
    // Without a sequencer there is no hub, and the MIDI tools say so.
    if (studio_->host())
        studio_->startMIDI(std::make_shared<AlsaMIDIPlatform>(), [&mainQueue](std::function<void()> task) {
            mainQueue.post(std::move(task));
        });
    std::weak_ptr<bool> alive = alive_;
    server_.onState = [this, alive](MCPHTTPServer::State state) {
        if (alive.expired()) return;
        serverState_ = std::move(state);
        Q_EMIT serverStateChanged();
    };
    server_.start();
    keyMonitor_ = std::make_unique<KeyMonitor>(*this);
    if (const char* tab = std::getenv("VELMO_TAB"))
        if (auto chosen = editorTabFromString(tab)) editorTab_ = *chosen;
}

AppModel::~AppModel() = default;

void AppModel::setEditorTab(EditorTab tab) {
    if (tab == editorTab_) return;
    editorTab_ = tab;
    Q_EMIT editorTabChanged();
}

void AppModel::setExportMessage(std::optional<QString> message) {
    exportMessage_ = std::move(message);
    Q_EMIT exportMessageChanged();
}

QString AppModel::endpoint() const {
    const std::uint16_t port = server_.boundPort() ? server_.boundPort() : server_.port();
    return QString("http://127.0.0.1:%1/mcp").arg(port);
}

QString AppModel::bridgePath() {
    const QString folder = QCoreApplication::applicationDirPath();
    return folder.isEmpty() ? QString("velmo-mcp") : folder + "/velmo-mcp";
}

void AppModel::openProject(QWidget* parent) {
    const QString file = QFileDialog::getOpenFileName(parent, "Open", defaultFolder(),
                                                      "Velmo projects (*.json);;All files (*)");
    if (file.isEmpty()) return;
    try {
        studio_->open(pathOf(file));
    } catch (const std::exception& e) {
        QMessageBox::warning(parent, "Couldn't open project", QString::fromStdString(e.what()));
    }
}

void AppModel::saveProject(bool as, QWidget* parent) {
    std::optional<std::filesystem::path> to = as ? std::nullopt : studio_->fileURL();
    if (!to) {
        const QString suggested = defaultFolder() + "/" + QString::fromStdString(studio_->project().name) + ".velmo.json";
        const QString file = QFileDialog::getSaveFileName(parent, "Save", suggested, "Velmo projects (*.json)");
        if (file.isEmpty()) return;
        to = pathOf(file);
    }
    try {
        studio_->save(*to);
    } catch (const std::exception& e) {
        QMessageBox::warning(parent, "Couldn't save project", QString::fromStdString(e.what()));
    }
}

void AppModel::exportAudio(QWidget* parent) {
    const QString suggested = defaultFolder() + "/" + QString::fromStdString(studio_->project().name) + ".wav";
    const QString file = QFileDialog::getSaveFileName(parent, "Export Audio", suggested, "WAV audio (*.wav)");
    if (!file.isEmpty()) exportTo(file, parent);
}

void AppModel::exportTo(const QString& to, QWidget* parent) {
    setExportMessage(QString("Rendering…"));
    const int generation = ++exportGeneration_;
    std::weak_ptr<bool> alive = alive_;
    QWidget* alertParent = parent;
    studio_->exportAudio(pathOf(to), 0, std::nullopt, 3.0, mainQueue_, [=, this](Studio::RenderOutcome outcome) {
        if (alive.expired()) return;
        if (auto* analysis = std::get_if<MixAnalysis>(&outcome)) {
            setExportMessage(cText("Exported %.1fs, peak %.1f dBFS", analysis->seconds, analysis->peakDb));
            QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(to).absolutePath()));
        } else {
            setExportMessage(std::nullopt);
            QString message = "The render failed.";
            try {
                std::rethrow_exception(std::get<std::exception_ptr>(outcome));
            } catch (const std::exception& e) {
                message = QString::fromStdString(e.what());
            }
            QMessageBox::warning(alertParent, "Couldn't export audio", message);
        }
        // A later export's message is not cleared by this one's timer.
        QTimer::singleShot(exportMessageMs, this, [this, generation] {
            if (generation == exportGeneration_) setExportMessage(std::nullopt);
        });
    });
}

} // namespace velmo

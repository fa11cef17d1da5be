// Everything the window keeps beyond a gesture: the one Studio, the agent server on it, which
// editor tab shows, the export message and the computer-keyboard piano. Built in start-up order:
// the piano, the Studio on the demo song, the dispatcher, the server, then the key monitor.
#pragma once

#include "EditorTab.h"
#include "MusicalTyping.h"
#include "StudioSignals.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class QWidget;

namespace velmo {

class KeyMonitor;
class MainQueue;

// GUI thread only; lives as long as the window.
class AppModel final : public QObject {
    Q_OBJECT
public:
    // `port` for the agent server; `project` defaults to the demo song. The Studio plays through
    // `host`; without one it makes no sound and its transport does not move (as in tests).
    AppModel(MainQueue& mainQueue, std::uint16_t port, std::optional<Project> project = std::nullopt,
             std::unique_ptr<AudioHost> host = nullptr);
    ~AppModel() override;

    Studio& studio() { return *studio_; }
    StudioSignals& studioSignals() { return *signals_; }
    MCPDispatcher& dispatcher() { return dispatcher_; }
    MCPHTTPServer& server() { return server_; }
    MainQueue& mainQueue() { return mainQueue_; }
    MusicalTyping& typing() { return typing_; }

    const MCPHTTPServer::State& serverState() const { return serverState_; }
    EditorTab editorTab() const { return editorTab_; }
    void setEditorTab(EditorTab tab);
    const std::optional<QString>& exportMessage() const { return exportMessage_; }

    // "http://127.0.0.1:<port>/mcp", with the port bound when the server chose one.
    QString endpoint() const;
    // velmo-mcp beside the running program, or the bare name.
    static QString bridgePath();

    // The panels and alerts of the File menu; `parent` centres them.
    void openProject(QWidget* parent);
    void saveProject(bool as, QWidget* parent);
    void exportAudio(QWidget* parent);
    // Renders the song to `to` and reports through the export message (the panel's second half).
    void exportTo(const QString& to, QWidget* parent);

Q_SIGNALS:
    void serverStateChanged();
    void editorTabChanged();
    void exportMessageChanged();
    // The computer-keyboard piano's octave or velocity changed.
    void typingChanged();

private:
    void setExportMessage(std::optional<QString> message);

    MainQueue& mainQueue_;
    MusicalTyping typing_;
    std::unique_ptr<Studio> studio_;
    MCPDispatcher dispatcher_;
    MCPHTTPServer server_;
    MCPHTTPServer::State serverState_ = MCPHTTPServer::Starting{};
    EditorTab editorTab_ = EditorTab::notes;
    std::optional<QString> exportMessage_;
    int exportGeneration_ = 0;
    std::unique_ptr<StudioSignals> signals_;
    std::unique_ptr<KeyMonitor> keyMonitor_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace velmo

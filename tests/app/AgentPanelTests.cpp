// The agent panel with a real server: the snippets carry the port in force, copy buttons fill the
// clipboard, a server that cannot listen says why and on which port, and the activity log shows
// at most 500 rows, marks failures and shows an agent's call within one display frame.
#include "AppRig.h"
#include "Loopback.h"
#include "agent/ActivityLog.h"
#include "agent/AgentPanel.h"
#include "agent/CopyButton.h"
#include "server/VelmoInfo.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace velmo {
namespace {

// A port nothing listens on just now: the system's choice for a socket closed at once.
std::uint16_t freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

bool listening(AppModel& model) {
    return QTest::qWaitFor([&] { return std::holds_alternative<MCPHTTPServer::Listening>(model.serverState()); }, 5000);
}

TEST(AgentPanel, SnippetsHoldThePortOfVELMO_MCP_PORTAndCopyIt) {
    const std::uint16_t port = freePort();
    ::setenv("VELMO_MCP_PORT", std::to_string(port).c_str(), 1);
    QtMainQueue queue;
    AppModel model(queue, VelmoInfo::port(), rigSong());
    ::unsetenv("VELMO_MCP_PORT");
    AgentPanel panel(model);
    ASSERT_TRUE(listening(model));
    const QString endpoint = QString("http://127.0.0.1:%1/mcp").arg(port);
    EXPECT_EQ(panel.statusTitle(), "Ready for agents");
    EXPECT_EQ(panel.statusDetail(), QString("Port %1 · 35 tools").arg(port));
    const auto& copy = panel.copyButtons();
    EXPECT_EQ(copy[0]->text(), "claude mcp add --transport http --scope user velmo " + endpoint);
    EXPECT_EQ(copy[1]->text(), "{\n  \"mcpServers\": {\n    \"velmo\": { \"command\": \"" + AppModel::bridgePath() +
                                   "\" }\n  }\n}");
    EXPECT_EQ(copy[2]->text(), endpoint);
    for (CopyButton* button : copy) {
        QTest::mouseClick(button, Qt::LeftButton);
        EXPECT_EQ(QGuiApplication::clipboard()->text(), button->text());
        EXPECT_TRUE(button->copied());
    }
}

TEST(AgentPanel, AServerThatCannotListenSaysWhyAndOnWhichPort) {
    AppRig first;
    ASSERT_TRUE(listening(first.model));
    const std::uint16_t taken = first.model.server().boundPort();
    QtMainQueue queue;
    AppModel second(queue, taken, rigSong());
    AgentPanel panel(second);
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::holds_alternative<MCPHTTPServer::Failed>(second.serverState()); }, 5000));
    const std::string message = std::get<MCPHTTPServer::Failed>(second.serverState()).message;
    EXPECT_EQ(panel.statusTitle(), "The MCP server couldn't start");
    EXPECT_EQ(panel.statusDetail(), QString::fromStdString(message) + ". Another app may be using port " +
                                        QString::number(taken) + "; set VELMO_MCP_PORT to use a different one.");
    EXPECT_TRUE(panel.copyButtons()[2]->text().contains(QString(":%1/mcp").arg(taken))) << "the snippets stay";
}

TEST(AgentPanel, LogShowsAtMost500RowsAndMarksFailures) {
    AppRig rig;
    ActivityLog log(rig.model.studioSignals());
    log.resize(600, 300);
    log.show();
    EXPECT_EQ(log.rowCount(), 0u);
    EXPECT_EQ(log.countText(), "");
    for (int i = 0; i < 501; ++i) rig.studio.log("tool" + std::to_string(i), "row " + std::to_string(i), i != 500);
    ASSERT_TRUE(QTest::qWaitFor([&] { return log.rowCount() == 500; }, 1000));
    EXPECT_EQ(log.countText(), "500 calls");
    const auto& entries = rig.studio.activity();
    const QStringList first = activityCells(entries.front(), 0);
    EXPECT_EQ(first[0], "001");
    EXPECT_EQ(first[2], "tool1") << "the oldest of 501 is gone";
    EXPECT_EQ(first[1].size(), 8) << first[1].toStdString() << " is HH:mm:ss";
    EXPECT_EQ(activityCells(entries.back(), 499), QStringList({"500", first[1], "tool500", "failed: row 500"}))
        << "the same second, barring a tick between";
    QScrollBar* bar = log.scroll().verticalScrollBar();
    EXPECT_EQ(bar->value(), bar->maximum()) << "the newest row is in view";
}

TEST(AgentPanel, AnAgentsToolCallShowsWithinOneDisplayFrame) {
    AppRig rig;
    ASSERT_TRUE(listening(rig.model));
    AgentPanel panel(rig.model);
    panel.resize(1100, 400);
    panel.show();
    std::thread agent([port = rig.model.server().boundPort()] { callTool(port, "get_project", "{}"); });
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rig.studio.activity().empty(); }, 5000));
    // The log follows the Studio's own notification, not a polling timer: what is already posted
    // when the call is logged is all it takes, so the row is there before the next frame.
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(panel.log().rowCount(), 1u);
    EXPECT_EQ(activityCells(rig.studio.activity().back(), 0)[2], "get_project");
    agent.join();
}

} // namespace
} // namespace velmo

// Shared by the tool tests: a real Studio and registry on a headless main queue, calls that wait
// for their reply, and a temporary home folder so default paths land somewhere disposable.
#pragma once

#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPTools.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace velmo::testing {

// The queue is declared first so that it outlives the Studio, which waits for running renders.
struct ToolFixture : ::testing::Test {
    HeadlessMainQueue queue;
    Studio studio;
    MCPTools tools{studio, queue};
    std::filesystem::path home;
    std::optional<std::string> savedHome;

    explicit ToolFixture(Project project = Studio::demoProject()) : studio(std::move(project)) {}

    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmo-tools-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        home = pattern;
        if (const char* old = std::getenv("HOME")) savedHome = old;
        ::setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override {
        if (savedHome) ::setenv("HOME", savedHome->c_str(), 1);
        std::filesystem::remove_all(home);
    }

    // Starts a call; the reply lands in the returned slot when the tool completes.
    std::shared_ptr<std::optional<nlohmann::json>> start(const std::string& name, nlohmann::json arguments = nlohmann::json::object()) {
        auto reply = std::make_shared<std::optional<nlohmann::json>>();
        tools.call(name, std::move(arguments), [reply](nlohmann::json r) { *reply = std::move(r); });
        return reply;
    }
    // Serves the main queue until the reply is there (a render may take a few seconds).
    nlohmann::json await(const std::shared_ptr<std::optional<nlohmann::json>>& reply) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (!*reply && std::chrono::steady_clock::now() < giveUp)
            if (queue.poll() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (!*reply) {
            ADD_FAILURE() << "no reply";
            return nullptr;
        }
        return **reply;
    }
    nlohmann::json reply(const std::string& name, nlohmann::json arguments = nlohmann::json::object()) {
        return await(start(name, std::move(arguments)));
    }
    // The parsed result of a call that must succeed. The line that names ignored arguments, if
    // the reply ends in one, is kept apart in `ignored`.
    nlohmann::json result(const std::string& name, nlohmann::json arguments = nlohmann::json::object()) {
        nlohmann::json r = reply(name, arguments);
        std::string text = r["content"][0]["text"];
        EXPECT_EQ(r["isError"], false) << name << " " << arguments.dump() << ": " << text;
        ignored.clear();
        if (const auto at = text.rfind("\nignored "); at != std::string::npos) {
            ignored = text.substr(at + 1);
            text.resize(at);
        }
        return r["isError"] == false ? nlohmann::json::parse(text) : nlohmann::json();
    }
    std::string ignored;
    // The text of a call that must fail, checking that the song and its history did not move.
    std::string failure(const std::string& name, nlohmann::json arguments = nlohmann::json::object()) {
        const Project before = studio.project();
        const bool couldUndo = studio.canUndo();
        nlohmann::json r = reply(name, arguments);
        EXPECT_EQ(r["isError"], true) << name << " " << arguments.dump();
        EXPECT_TRUE(studio.project() == before) << name << " " << arguments.dump() << " changed the project";
        EXPECT_EQ(studio.canUndo(), couldUndo) << name << " " << arguments.dump();
        return r["content"][0]["text"];
    }
    // A call that must fail with exactly "Error: " + `message`, changing nothing.
    void fails(const std::string& name, nlohmann::json arguments, const std::string& message) {
        EXPECT_EQ(failure(name, arguments), "Error: " + message) << name << " " << arguments.dump();
    }
};

// Checks the named fields of `object` and no others.
inline void expectFields(const nlohmann::json& object, const nlohmann::json& fields) {
    for (auto it = fields.begin(); it != fields.end(); ++it)
        EXPECT_EQ(object.contains(it.key()) ? object[it.key()] : nlohmann::json("(missing)"), it.value()) << it.key();
}

inline std::vector<std::string> keysOf(const nlohmann::json& object) {
    std::vector<std::string> keys;
    for (auto it = object.begin(); it != object.end(); ++it) keys.push_back(it.key());
    return keys;
}

} // namespace velmo::testing

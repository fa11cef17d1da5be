// Arbitrary bytes as a POST /mcp body into the dispatcher, with the real registry. The answer
// must come (on the main queue), and must be nothing, empty bytes or one JSON value.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>

using namespace velmo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static HeadlessMainQueue mainQueue;
    static Studio studio(Project("Untitled", 120));
    static MCPDispatcher dispatcher(studio, mainQueue);

    bool answered = false;
    std::optional<std::string> answer;
    dispatcher.handle(std::string(reinterpret_cast<const char*>(data), size), [&](std::optional<std::string> bytes) {
        answered = true;
        answer = std::move(bytes);
    });
    mainQueue.poll();
    if (!answered) std::abort();
    if (answer && !answer->empty() && !nlohmann::json::accept(*answer)) std::abort();
    return 0;
}

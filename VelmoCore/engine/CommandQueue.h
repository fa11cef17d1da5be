// The road of engine commands from the control side to the audio thread and back, without a
// lock: the control side pushes, the audio thread takes everything pushed so far in the order it
// was sent, and hands each command back once it is done with it, so that whatever the command
// holds by then (the project a load replaced, processors of deleted tracks, a note's track id)
// is freed on the control side and never on the audio thread.
#pragma once

#include "engine/EngineCommand.h"
#include "engine/PreparedLoad.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace velmo {

// `push` and `freeRetired` from the control side (any thread), `takeAll` and `retire` from the
// one thread that renders. Nothing here waits.
class CommandQueue {
public:
    struct Item {
        EngineCommand command;
        std::unique_ptr<PreparedLoad> load; // for a load: what applying it needs
        Item* next = nullptr;
    };

    CommandQueue() = default;
    ~CommandQueue();
    CommandQueue(const CommandQueue&) = delete;
    CommandQueue& operator=(const CommandQueue&) = delete;

    void push(std::unique_ptr<Item> item) noexcept;
    // Every item pushed so far, oldest first, linked by `next`. The caller holds them until it
    // retires each one.
    Item* takeAll() noexcept;
    void retire(Item* item) noexcept;
    // Frees what was retired; returns how many items that was.
    std::size_t freeRetired() noexcept;

private:
    static void pushOnto(std::atomic<Item*>& head, Item* item) noexcept;
    static std::size_t freeList(Item* item) noexcept;

    // Both are stacks, newest first. Each is emptied only as a whole, by exchange, which spares
    // them the ABA problem of popping one entry at a time.
    std::atomic<Item*> incoming_{nullptr};
    std::atomic<Item*> retired_{nullptr};
};

} // namespace velmo

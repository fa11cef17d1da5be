#include "engine/CommandQueue.h"

namespace velmo {

CommandQueue::~CommandQueue() {
    freeList(incoming_.exchange(nullptr));
    freeList(retired_.exchange(nullptr));
}

void CommandQueue::pushOnto(std::atomic<Item*>& head, Item* item) noexcept {
    item->next = head.load(std::memory_order_relaxed);
    while (!head.compare_exchange_weak(item->next, item, std::memory_order_release, std::memory_order_relaxed)) {
    }
}

void CommandQueue::push(std::unique_ptr<Item> item) noexcept { pushOnto(incoming_, item.release()); }

CommandQueue::Item* CommandQueue::takeAll() noexcept {
    Item* newestFirst = incoming_.exchange(nullptr, std::memory_order_acquire);
    Item* oldestFirst = nullptr;
    while (newestFirst) {
        Item* next = newestFirst->next;
        newestFirst->next = oldestFirst;
        oldestFirst = newestFirst;
        newestFirst = next;
    }
    return oldestFirst;
}

void CommandQueue::retire(Item* item) noexcept { pushOnto(retired_, item); }

std::size_t CommandQueue::freeRetired() noexcept { return freeList(retired_.exchange(nullptr, std::memory_order_acquire)); }

std::size_t CommandQueue::freeList(Item* item) noexcept {
    std::size_t count = 0;
    while (item) {
        std::unique_ptr<Item> owned(item);
        item = item->next;
        ++count;
    }
    return count;
}

} // namespace velmo

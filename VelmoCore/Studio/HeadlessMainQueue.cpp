#include "Studio/HeadlessMainQueue.h"

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <memory>

namespace velmo {

HeadlessMainQueue::HeadlessMainQueue() : work_(asio::make_work_guard(context_)) {}

void HeadlessMainQueue::post(std::function<void()> task) { asio::post(context_, std::move(task)); }

namespace {

struct Repeater : std::enable_shared_from_this<Repeater> {
    asio::steady_timer timer;
    std::chrono::milliseconds period;
    std::function<bool()> tick;

    Repeater(asio::io_context& context, std::chrono::milliseconds period, std::function<bool()> tick)
        : timer(context), period(period), tick(std::move(tick)) {}

    // Deadlines advance by whole periods from the first, so a slow tick does not make the
    // timer drift.
    void arm() {
        timer.expires_at(timer.expiry() + period);
        timer.async_wait([self = shared_from_this()](const std::error_code& error) {
            if (error) return;
            if (self->tick()) self->arm();
        });
    }
};

} // namespace

void HeadlessMainQueue::every(std::chrono::milliseconds period, std::function<bool()> tick) {
    auto repeater = std::make_shared<Repeater>(context_, period, std::move(tick));
    repeater->timer.expires_at(std::chrono::steady_clock::now());
    repeater->arm();
}

// No restart here: a `stop` that comes before `run` begins must still count.
void HeadlessMainQueue::run() { context_.run(); }

void HeadlessMainQueue::stop() { context_.stop(); }

std::size_t HeadlessMainQueue::poll() {
    context_.restart();
    return context_.poll();
}

} // namespace velmo

// The headless main queue the server hops to: order of posted tasks, and repeating timers that
// end when their tick says so. (Every HTTP test ends by stopping it from another thread.)
#include "Studio/HeadlessMainQueue.h"

#include <gtest/gtest.h>

#include <vector>

using namespace velmo;

TEST(HeadlessMainQueue, RunsTasksInOrderAndTimersUntilTheyStop) {
    HeadlessMainQueue queue;
    std::vector<int> order;
    for (int i = 0; i < 3; ++i) queue.post([&, i] {
            order.push_back(i);
            if (i == 0) queue.post([&] { order.push_back(10); });  // posted from the queue: runs after the rest
        });
    EXPECT_TRUE(order.empty()) << "post never runs the task at once";
    int ticks = 0;
    queue.every(std::chrono::milliseconds(1), [&] {
        if (++ticks == 3) queue.stop();
        return ticks < 3;
    });
    queue.run();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 10}));
    EXPECT_EQ(ticks, 3);
}

// ChunkedList against std::vector: any sequence of writes leaves the same elements, a stable sort
// orders as std::stable_sort does, copies stay values, and a write duplicates only the chunks it
// touches, which is what keeps undo of a long clip small.
#include "model/ChunkedList.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>

namespace velmo {
namespace {

struct Item {
    int key = 0;
    int tag = 0;  // tells equal keys apart, so stability shows
    bool operator==(const Item&) const = default;
};

bool byKey(const Item& a, const Item& b) { return a.key < b.key; }

TEST(ChunkedList, BehavesAsAVectorWhateverTheEdits) {
    using Small = ChunkedList<Item, 4>;  // small chunks: every edit meets a boundary, a split or a join
    std::mt19937 random(7);
    auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    for (int round = 0; round < 300; ++round) {
        std::vector<Item> model;
        Small list;
        // Every other round, each sort is told the version the last sort left, whose shared
        // chunks it may step over.
        Small sorted;
        auto sort = [&] {
            list.stableSort(byKey, round % 2 ? &sorted : nullptr);
            sorted = list;
        };
        int tag = 0;
        for (int op = 0; op < 60; ++op) {
            const Small before = list;
            const std::vector<Item> modelBefore = model;
            const Item item{static_cast<int>(pick(8)), tag++};
            switch (model.empty() ? 0 : pick(7)) {
            case 0: model.push_back(item); list.push_back(item); break;
            case 1: {
                const std::size_t i = pick(model.size() + 1);
                model.insert(model.begin() + static_cast<std::ptrdiff_t>(i), item);
                list.insert(i, item);
                break;
            }
            case 2: {
                const std::size_t i = pick(model.size());
                model.erase(model.begin() + static_cast<std::ptrdiff_t>(i));
                list.erase(i);
                break;
            }
            case 3: case 4: {  // one element moves, the case a sort mends piecemeal
                const std::size_t i = pick(model.size());
                model[i].key = item.key;
                list.mut(i).key = item.key;
                break;
            }
            case 5: {
                auto pred = [k = item.key](const Item& x) { return x.key == k; };
                ASSERT_EQ(list.eraseIf(pred), std::erase_if(model, pred));
                break;
            }
            case 6: std::stable_sort(model.begin(), model.end(), byKey); sort(); break;
            }
            if (op % 3 == 2) {
                std::stable_sort(model.begin(), model.end(), byKey);
                sort();
            }
            ASSERT_EQ(list.toVector(), model) << "round " << round << ", operation " << op;
            ASSERT_EQ(list.size(), model.size());
            ASSERT_EQ(before.toVector(), modelBefore) << "a copy is a value: writes to another do not reach it";
            ASSERT_EQ(list == before, model == modelBefore);
        }
    }
}

TEST(ChunkedList, AWriteAfterACopyDuplicatesOnlyWhatItTouches) {
    using List = ChunkedList<Item, 16>;
    std::vector<Item> items;
    for (int i = 0; i < 1000; ++i) items.push_back({i, 0});
    const List original(items);
    std::set<const void*> originalChunks;
    for (std::size_t k = 0; k < original.chunkCount(); ++k) originalChunks.insert(original.chunk(k).get());

    const std::vector<std::pair<std::function<void(List&)>, std::size_t>> cases{
        {[](List& l) { l.mut(500).tag = 1; }, 1},
        {[](List& l) { l.insert(500, {500, 1}); }, 2},  // the full chunk splits in two
        {[](List& l) { l.erase(500); }, 1},
        {[](List& l) { l.push_back({1000, 0}); }, 1},
        // One element moved later, then earlier: out of one chunk, into a full one that splits.
        {[](List& l) { l.mut(100).key = 900; l.stableSort(byKey); }, 3},
        {[](List& l) { l.mut(900).key = 100; l.stableSort(byKey); }, 3},
        {[](List& l) { l.eraseIf([](const Item& x) { return x.key >= 40 && x.key < 44; }); }, 1},
    };
    for (std::size_t c = 0; c < cases.size(); ++c) {
        List copy = original;
        cases[c].first(copy);
        std::size_t fresh = 0;
        for (std::size_t k = 0; k < copy.chunkCount(); ++k) fresh += !originalChunks.contains(copy.chunk(k).get());
        EXPECT_EQ(fresh, cases[c].second) << "case " << c;
        EXPECT_EQ(original.toVector(), items) << "case " << c;
    }
}

} // namespace
} // namespace velmo

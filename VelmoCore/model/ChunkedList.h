// A long list with value semantics whose storage is shared copy-on-write in chunks: a clip's notes.
//
// Undo keeps hundreds of versions of a clip that may hold 100,000 notes. Copying the list copies
// one pointer; the first write after a copy duplicates the chunk index and the one chunk written,
// so a version costs what the edit changed, not what the clip holds. Chunks vary in size up to
// `ChunkSize`: an insertion splits a full chunk and an erasure drops an empty one, so neither
// moves the elements of other chunks. Equality skips chunks that two lists share.
//
// Thread safety is that of a value: a copy may be handed to another thread, which then reads its
// own copy while this one is written.
#pragma once

#include "base/Precondition.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace velmo {

template <class T, std::size_t ChunkSize = 256>
class ChunkedList {
public:
    using Chunk = std::vector<T>;
    static constexpr std::size_t chunkSize = ChunkSize;

private:
    struct Index {
        std::vector<std::shared_ptr<Chunk>> chunks; // none of them empty
        std::vector<std::size_t> ends;              // ends[k]: how many elements chunks 0 to k hold
    };

    struct Place {
        std::size_t chunk = 0;
        std::size_t offset = 0;
    };

    // Where element `position` lives; one past the end is (chunk count, 0).
    static Place locate(const Index* index, std::size_t position) {
        if (!index || index->ends.empty() || position >= index->ends.back())
            return {index ? index->chunks.size() : 0, 0};
        const auto k = static_cast<std::size_t>(
            std::upper_bound(index->ends.begin(), index->ends.end(), position) - index->ends.begin());
        return {k, position - (k > 0 ? index->ends[k - 1] : 0)};
    }

public:
    class const_iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        const_iterator() = default;
        const_iterator(const Index* index, std::size_t position)
            : index_(index), position_(position), place_(locate(index, position)) {}

        reference operator*() const { return (*index_->chunks[place_.chunk])[place_.offset]; }
        pointer operator->() const { return &**this; }
        reference operator[](difference_type n) const { return *(*this + n); }
        const_iterator& operator++() {
            ++position_;
            if (++place_.offset == index_->chunks[place_.chunk]->size()) place_ = {place_.chunk + 1, 0};
            return *this;
        }
        const_iterator operator++(int) { auto old = *this; ++*this; return old; }
        const_iterator& operator--() {
            --position_;
            if (place_.offset == 0) place_ = {place_.chunk - 1, index_->chunks[place_.chunk - 1]->size() - 1};
            else --place_.offset;
            return *this;
        }
        const_iterator operator--(int) { auto old = *this; --*this; return old; }
        const_iterator& operator+=(difference_type n) {
            position_ = static_cast<std::size_t>(static_cast<difference_type>(position_) + n);
            place_ = locate(index_, position_);
            return *this;
        }
        const_iterator& operator-=(difference_type n) { return *this += -n; }
        friend const_iterator operator+(const_iterator a, difference_type n) { return a += n; }
        friend const_iterator operator+(difference_type n, const_iterator a) { return a += n; }
        friend const_iterator operator-(const_iterator a, difference_type n) { return a -= n; }
        friend difference_type operator-(const const_iterator& a, const const_iterator& b) {
            return static_cast<difference_type>(a.position_) - static_cast<difference_type>(b.position_);
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b) { return a.position_ == b.position_; }
        friend auto operator<=>(const const_iterator& a, const const_iterator& b) { return a.position_ <=> b.position_; }

    private:
        friend class ChunkedList;
        // From the start of a chunk to the start of the next, without a search.
        void skipChunk() {
            position_ += index_->chunks[place_.chunk]->size();
            place_ = {place_.chunk + 1, 0};
        }

        const Index* index_ = nullptr;
        std::size_t position_ = 0;
        Place place_;
    };

    ChunkedList() = default;
    ChunkedList(std::initializer_list<T> items) : ChunkedList(std::vector<T>(items)) {}
    explicit ChunkedList(std::vector<T> items) {
        if (items.empty()) return;
        index_ = std::make_shared<Index>();
        for (std::size_t from = 0; from < items.size(); from += ChunkSize) {
            const std::size_t to = std::min(items.size(), from + ChunkSize);
            index_->chunks.push_back(std::make_shared<Chunk>(std::make_move_iterator(items.begin() + from),
                                                             std::make_move_iterator(items.begin() + to)));
            index_->ends.push_back(to);
        }
    }

    std::size_t size() const { return index_ ? index_->ends.back() : 0; }
    bool empty() const { return !index_; }

    const T& operator[](std::size_t i) const {
        VELMO_PRECONDITION(i < size(), "ChunkedList::operator[]");
        const Place at = locate(index_.get(), i);
        return (*index_->chunks[at.chunk])[at.offset];
    }
    const T& front() const { return (*this)[0]; }
    const T& back() const { return (*this)[size() - 1]; }

    const_iterator begin() const { return const_iterator(index_.get(), 0); }
    const_iterator end() const { return const_iterator(index_.get(), size()); }

    // The chunks, for data derived chunk by chunk: a chunk that two lists share is the same
    // pointer in both, and its elements do not change while a caller holds it.
    std::size_t chunkCount() const { return index_ ? index_->chunks.size() : 0; }
    std::shared_ptr<const Chunk> chunk(std::size_t k) const { return index_->chunks[k]; }

    // Write access to one element; duplicates only what is shared with other copies.
    T& mut(std::size_t i) {
        VELMO_PRECONDITION(i < size(), "ChunkedList::mut");
        Index& index = ownIndex();
        const Place at = locate(&index, i);
        return ownChunk(index, at.chunk)[at.offset];
    }

    void push_back(T item) { insert(size(), std::move(item)); }

    // Appends a whole chunk of at most ChunkSize elements without copying it: lists derived
    // chunk by chunk from other lists share their unchanged parts too. An empty chunk adds nothing.
    void appendChunk(std::shared_ptr<Chunk> chunk) {
        VELMO_PRECONDITION(chunk && chunk->size() <= ChunkSize, "ChunkedList::appendChunk");
        if (chunk->empty()) return;
        Index& index = ownIndex();
        index.chunks.push_back(std::move(chunk));
        recount(index, index.chunks.size() - 1);
    }

    void insert(std::size_t position, T item) {
        VELMO_PRECONDITION(position <= size(), "ChunkedList::insert");
        Index& index = ownIndex();
        Place at = locate(&index, position);
        if (at.chunk == index.chunks.size()) {
            // At the end: onto the last chunk while it has room.
            if (at.chunk > 0 && index.chunks.back()->size() < ChunkSize) at = {at.chunk - 1, index.chunks.back()->size()};
            else index.chunks.push_back(std::make_shared<Chunk>());
        }
        Chunk& chunk = ownChunk(index, at.chunk);
        chunk.insert(chunk.begin() + static_cast<std::ptrdiff_t>(at.offset), std::move(item));
        if (chunk.size() > ChunkSize) {
            const auto half = static_cast<std::ptrdiff_t>(chunk.size() / 2);
            auto tail = std::make_shared<Chunk>(std::make_move_iterator(chunk.begin() + half),
                                                std::make_move_iterator(chunk.end()));
            chunk.erase(chunk.begin() + half, chunk.end());
            index.chunks.insert(index.chunks.begin() + static_cast<std::ptrdiff_t>(at.chunk) + 1, std::move(tail));
        }
        recount(index, at.chunk);
    }

    void erase(std::size_t position) {
        VELMO_PRECONDITION(position < size(), "ChunkedList::erase");
        Index& index = ownIndex();
        const Place at = locate(&index, position);
        Chunk& chunk = ownChunk(index, at.chunk);
        chunk.erase(chunk.begin() + static_cast<std::ptrdiff_t>(at.offset));
        settle(index, at.chunk);
    }

    // Removes every element for which `pred` holds; returns how many went. Only chunks that
    // lose an element are written.
    template <class Pred>
    std::size_t eraseIf(Pred pred) {
        if (std::none_of(begin(), end(), pred)) return 0;
        const std::size_t before = size();
        Index& index = ownIndex();
        for (std::size_t k = 0; k < index.chunks.size(); ++k)
            if (std::any_of(index.chunks[k]->begin(), index.chunks[k]->end(), pred)) std::erase_if(ownChunk(index, k), pred);
        std::erase_if(index.chunks, [](const std::shared_ptr<Chunk>& c) { return c->empty(); });
        recount(index, 0);
        if (index.chunks.empty()) index_.reset();
        return before - size();
    }

    void clear() { index_.reset(); }

    // Stable sort by a "less" comparison of elements, as std::stable_sort would order them. A
    // list that is sorted but for a few elements (notes just added, or one note moved) has only
    // those taken out and put back where they belong, so the other chunks stay shared. `inOrder`,
    // when given, is a list already sorted by `less` (the version this one was edited from):
    // chunks shared with it are in order inside and are looked at only at their ends, so an
    // edit of a few elements costs their chunks and not a walk of the whole list.
    template <class Less>
    void stableSort(Less less, const ChunkedList* inOrder = nullptr) {
        std::vector<const Chunk*> known;
        if (inOrder && inOrder->index_) {
            for (const auto& c : inOrder->index_->chunks) known.push_back(c.get());
            std::sort(known.begin(), known.end());
        }
        std::vector<std::size_t> early = outOfOrder(less, false, known);
        if (early.empty()) return;
        std::vector<std::size_t> late = outOfOrder(less, true, known);
        const bool fromTheFront = early.size() <= late.size();
        const std::vector<std::size_t>& moved = fromTheFront ? early : late;
        if (moved.size() > ChunkSize) {
            std::vector<T> all = toVector();
            std::stable_sort(all.begin(), all.end(), less);
            *this = ChunkedList(std::move(all));
            return;
        }
        std::vector<T> items;
        items.reserve(moved.size());
        for (std::size_t i : moved) items.push_back((*this)[i]);
        for (auto i = moved.rbegin(); i != moved.rend(); ++i) erase(*i);
        std::stable_sort(items.begin(), items.end(), less);
        // Every remaining element equal to one taken out lies on the side of it that keeps the
        // result stable: before it for the front pass, after it for the back pass.
        if (fromTheFront) {
            for (T& item : items) insert(std::upper_bound(begin(), end(), item, less) - begin(), std::move(item));
        } else {
            for (auto item = items.rbegin(); item != items.rend(); ++item)
                insert(std::lower_bound(begin(), end(), *item, less) - begin(), std::move(*item));
        }
    }

    std::vector<T> toVector() const { return std::vector<T>(begin(), end()); }

    friend bool operator==(const ChunkedList& a, const ChunkedList& b) { return equal(a, b); }

private:
    static bool equal(const ChunkedList& a, const ChunkedList& b) {
        if (a.index_ == b.index_) return true;
        if (a.size() != b.size()) return false;
        auto x = a.begin(), y = b.begin();
        const auto last = a.end();
        while (x != last) {
            // Where both lists start the same shared chunk, the whole chunk is equal.
            if (x.place_.offset == 0 && y.place_.offset == 0 &&
                a.index_->chunks[x.place_.chunk] == b.index_->chunks[y.place_.chunk]) {
                x.skipChunk();
                y.skipChunk();
                continue;
            }
            if (!(*x == *y)) return false;
            ++x;
            ++y;
        }
        return true;
    }

    Index& ownIndex() {
        if (!index_) index_ = std::make_shared<Index>();
        else if (index_.use_count() != 1) index_ = std::make_shared<Index>(*index_);
        return *index_;
    }

    static Chunk& ownChunk(Index& index, std::size_t k) {
        std::shared_ptr<Chunk>& chunk = index.chunks[k];
        if (chunk.use_count() != 1) chunk = std::make_shared<Chunk>(*chunk);
        return *chunk;
    }

    static void recount(Index& index, std::size_t from) {
        index.ends.resize(index.chunks.size());
        for (std::size_t k = from; k < index.chunks.size(); ++k)
            index.ends[k] = (k > 0 ? index.ends[k - 1] : 0) + index.chunks[k]->size();
    }

    // After chunk `k` shrank: drops it when empty, or joins it to a neighbour when both fit in
    // half a chunk, so that erasing many elements does not leave a long index of crumbs.
    void settle(Index& index, std::size_t k) {
        auto& chunks = index.chunks;
        if (chunks[k]->empty()) {
            chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(k));
        } else {
            const std::size_t next = k + 1 < chunks.size() && chunks[k]->size() + chunks[k + 1]->size() <= ChunkSize / 2
                                         ? k + 1
                                         : k;
            if (next != k) {
                Chunk& into = ownChunk(index, k);
                into.insert(into.end(), chunks[next]->begin(), chunks[next]->end());
                chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(next));
            }
        }
        if (chunks.empty()) {
            index_.reset();
            return;
        }
        recount(index, k > 0 ? k - 1 : 0);
    }

    // Positions of the elements that break the order, found greedily from the front (each one
    // less than the last element kept) or from the back (each one greater than the last kept).
    // From the front, one element moved earlier is found alone; from the back, one moved later.
    // A chunk in `known` (sorted addresses of chunks in order inside) whose first element, in the
    // direction of the walk, keeps the order, keeps it throughout and is stepped over whole.
    template <class Less>
    std::vector<std::size_t> outOfOrder(Less& less, bool fromTheBack, const std::vector<const Chunk*>& known) const {
        std::vector<std::size_t> found;
        if (!index_) return found;
        const T* kept = nullptr;
        auto breaks = [&](const T& item) { return kept && (fromTheBack ? less(*kept, item) : less(item, *kept)); };
        const std::size_t count = index_->chunks.size();
        // Beyond ChunkSize found, the whole list is sorted anew: no need to look further.
        for (std::size_t step = 0; step < count && found.size() <= ChunkSize; ++step) {
            const std::size_t k = fromTheBack ? count - 1 - step : step;
            const Chunk& chunk = *index_->chunks[k];
            if (std::binary_search(known.begin(), known.end(), &chunk) &&
                !breaks(fromTheBack ? chunk.back() : chunk.front())) {
                kept = fromTheBack ? &chunk.front() : &chunk.back();
                continue;
            }
            const std::size_t first = k > 0 ? index_->ends[k - 1] : 0;
            for (std::size_t n = 0; n < chunk.size() && found.size() <= ChunkSize; ++n) {
                const std::size_t j = fromTheBack ? chunk.size() - 1 - n : n;
                if (breaks(chunk[j])) found.push_back(first + j);
                else kept = &chunk[j];
            }
        }
        if (fromTheBack) std::reverse(found.begin(), found.end());
        return found;
    }

    std::shared_ptr<Index> index_;
};

} // namespace velmo

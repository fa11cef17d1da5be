// A list with value semantics whose storage is shared copy-on-write, element by element.
//
// Undo keeps hundreds of whole projects. Copying a CowVector copies one pointer; the first write
// after a copy duplicates the list of element pointers and then only the element written, so an
// undo step costs what the edit changed. Equality asks first whether two lists (or two elements)
// share storage, so comparing a project with its edited copy visits only the changed path.
//
// Thread safety is that of a value: a copy may be handed to another thread, which then reads its
// own copy while this one is written.
#pragma once

#include "base/Precondition.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace velmo {

template <class T>
class CowVector {
    // Elements and lists are made mutable and shared: only a copy-on-write owner (use count 1)
    // writes through them, and every reader sees them as const.
    using Element = std::shared_ptr<T>;
    using List = std::vector<Element>;

public:
    class const_iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        const_iterator() = default;
        explicit const_iterator(typename List::const_iterator it) : it_(it) {}
        reference operator*() const { return **it_; }
        pointer operator->() const { return it_->get(); }
        reference operator[](difference_type n) const { return *it_[n]; }
        const_iterator& operator++() { ++it_; return *this; }
        const_iterator operator++(int) { auto old = *this; ++it_; return old; }
        const_iterator& operator--() { --it_; return *this; }
        const_iterator operator--(int) { auto old = *this; --it_; return old; }
        const_iterator& operator+=(difference_type n) { it_ += n; return *this; }
        const_iterator& operator-=(difference_type n) { it_ -= n; return *this; }
        friend const_iterator operator+(const_iterator a, difference_type n) { return a += n; }
        friend const_iterator operator+(difference_type n, const_iterator a) { return a += n; }
        friend const_iterator operator-(const_iterator a, difference_type n) { return a -= n; }
        friend difference_type operator-(const const_iterator& a, const const_iterator& b) { return a.it_ - b.it_; }
        friend bool operator==(const const_iterator& a, const const_iterator& b) = default;
        friend auto operator<=>(const const_iterator& a, const const_iterator& b) = default;

    private:
        typename List::const_iterator it_{};
    };

    CowVector() = default;
    CowVector(std::initializer_list<T> items) : CowVector(std::vector<T>(items)) {}
    explicit CowVector(std::vector<T> items) {
        if (items.empty()) return;
        auto list = std::make_shared<List>();
        list->reserve(items.size());
        for (auto& item : items) list->push_back(std::make_shared<T>(std::move(item)));
        list_ = std::move(list);
    }

    std::size_t size() const { return list_ ? list_->size() : 0; }
    bool empty() const { return size() == 0; }

    const T& operator[](std::size_t i) const {
        VELMO_PRECONDITION(i < size(), "CowVector::operator[]");
        return *(*list_)[i];
    }
    const T& front() const { return (*this)[0]; }
    const T& back() const { return (*this)[size() - 1]; }

    const_iterator begin() const { return list_ ? const_iterator(list_->cbegin()) : const_iterator(); }
    const_iterator end() const { return list_ ? const_iterator(list_->cend()) : const_iterator(); }

    // Write access to one element; duplicates only what is shared with other copies.
    T& mut(std::size_t i) {
        VELMO_PRECONDITION(i < size(), "CowVector::mut");
        Element& element = ownList()[i];
        if (element.use_count() != 1) element = std::make_shared<T>(std::as_const(*element));
        return *element;
    }

    void push_back(T item) { ownList().push_back(std::make_shared<T>(std::move(item))); }

    void insert(std::size_t index, T item) {
        VELMO_PRECONDITION(index <= size(), "CowVector::insert");
        auto& list = ownList();
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), std::make_shared<T>(std::move(item)));
    }

    void erase(std::size_t index) {
        VELMO_PRECONDITION(index < size(), "CowVector::erase");
        auto& list = ownList();
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
    }

    // Removes every element for which `pred` holds; returns how many went.
    template <class Pred>
    std::size_t eraseIf(Pred pred) {
        if (std::none_of(begin(), end(), pred)) return 0;
        auto& list = ownList();
        auto old = list.size();
        std::erase_if(list, [&](const Element& e) { return pred(*e); });
        return old - list.size();
    }

    void clear() { list_.reset(); }

    // Stable sort by a "less" comparison of elements. Moves pointers, never elements.
    template <class Less>
    void stableSort(Less less) {
        if (std::is_sorted(begin(), end(), less)) return;
        auto& list = ownList();
        std::stable_sort(list.begin(), list.end(), [&](const Element& a, const Element& b) { return less(*a, *b); });
    }

    std::vector<T> toVector() const { return std::vector<T>(begin(), end()); }

    friend bool operator==(const CowVector& a, const CowVector& b) {
        if (a.list_ == b.list_) return true;
        if (a.size() != b.size()) return false;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const Element& x = (*a.list_)[i];
            const Element& y = (*b.list_)[i];
            if (x != y && !(*x == *y)) return false;
        }
        return true;
    }

private:
    List& ownList() {
        if (!list_) list_ = std::make_shared<List>();
        else if (list_.use_count() != 1) list_ = std::make_shared<List>(*list_);
        return *list_;
    }

    std::shared_ptr<List> list_;
};

} // namespace velmo

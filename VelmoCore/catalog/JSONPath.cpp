#include "catalog/JSONPath.h"

#include <charconv>
#include <optional>

namespace velmo::JSONPath {

using json = nlohmann::json;

namespace {

// The element index a component names, if it is a plain run of decimal digits within `count`.
std::optional<std::size_t> arrayIndex(const std::string& component, std::size_t count) {
    if (component.empty()) return std::nullopt;
    for (char c : component)
        if (c < '0' || c > '9') return std::nullopt;
    std::size_t index = 0;
    auto [end, error] = std::from_chars(component.data(), component.data() + component.size(), index);
    if (error != std::errc{} || end != component.data() + component.size() || index >= count) return std::nullopt;
    return index;
}

} // namespace

std::vector<std::string> components(std::string_view dottedPath) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= dottedPath.size()) {
        auto dot = dottedPath.find('.', start);
        if (dot == std::string_view::npos) dot = dottedPath.size();
        if (dot > start) parts.emplace_back(dottedPath.substr(start, dot - start));
        start = dot + 1;
    }
    return parts;
}

const json* get(std::span<const std::string> path, const json& tree) {
    const json* node = &tree;
    for (const auto& component : path) {
        if (node->is_array()) {
            if (auto index = arrayIndex(component, node->size())) {
                node = &(*node)[*index];
                continue;
            }
        }
        if (!node->is_object()) return nullptr;
        auto it = node->find(component);
        if (it == node->end()) return nullptr;
        node = &*it;
    }
    return node;
}

json set(json value, std::span<const std::string> path, json tree) {
    if (path.empty()) return value;
    const auto& first = path.front();
    const auto rest = path.subspan(1);
    if (tree.is_array()) {
        if (auto index = arrayIndex(first, tree.size())) {
            tree[*index] = set(std::move(value), rest, std::move(tree[*index]));
            return tree;
        }
    }
    if (tree.is_object()) {
        auto it = tree.find(first);
        json child = it != tree.end() ? std::move(*it) : json::object();
        tree[first] = set(std::move(value), rest, std::move(child));
    }
    return tree;
}

} // namespace velmo::JSONPath
